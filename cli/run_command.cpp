// run_command.cpp — checks, set-up and the table loop of `veq-migrate run`.
#include "cli/run_command.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <vector>

#include "cli/database_inspection.h"
#include "cli/migration_plan.h"
#include "cli/progress.h"
#include "cli/rejects.h"
#include "cli/report.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/user_defaults.h"

namespace veq {

namespace {

namespace fs = std::filesystem;

constexpr int kRefused = 2;

const std::string& storePath(const RunOptions& options, const LegacyStoreKind& kind) {
  static const std::map<std::string, std::string RunOptions::*> fields = {
      {"ios", &RunOptions::iosPath}, {"android", &RunOptions::androidPath}, {"android_cloud", &RunOptions::androidCloudPath}};
  return options.*fields.at(kind.label);
}

std::shared_ptr<VEQFMDatabase> createDatabase(const std::string& path, std::string* problem) {
  auto db = std::make_shared<VEQFMDatabase>(path);
  if (db->open()) return db;
  *problem = "cannot create: " + db->lastErrorMessage();
  return nullptr;
}

// Pragmas and schema of the output: the problem, or "" when it is ready.
std::string prepareOutput(VEQFMDatabase& db) {
  if (sqlite3_db_readonly(db.sqliteHandle(), "main") == 1) return "not writable";
  std::string error;
  if (db.executeStatements(kOutputPragmas) && veqInstallSchema(&db, &error)) return "";
  return "cannot write: " + (error.empty() ? db.lastErrorMessage() : error);
}

struct OpenStore {
  const LegacyStoreKind* kind;
  std::string path;
  std::shared_ptr<VEQFMDatabaseQueue> queue;
};

class MigrationRun {
 public:
  MigrationRun(const RunOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err), progress_(err, options.progress), rejects_(options.rejectsPath) {}
  ~MigrationRun();

  int run();

 private:
  bool refuse(const std::string& subject, const std::string& problem);
  bool checkTimeZone();
  bool openStores();
  bool checkDefaults();
  bool checkOutputPaths();
  bool openOutput();
  void discardOutput(VEQFMDatabase* db);
  void prepareRegistries();
  void migrateStore(const OpenStore& store);
  void finishReport(VEQFMDatabase& db);

  const RunOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  ProgressLine progress_;
  std::vector<OpenStore> stores_;
  std::shared_ptr<VEQFMDatabaseQueue> output_;
  int64_t failedStatementsBefore_ = 0;
  MigrationReport report_;
  RejectsFile rejects_;
  bool rejectsWritten_ = true;
};

MigrationRun::~MigrationRun() {
  progress_.finish();
  VEQProDBManager& manager = VEQProDBManager::shareInstance();
  for (const LegacyStoreKind& kind : legacyStoreKinds()) {
    (manager.*kind.setRegistry)({});
    if (kind.setQueue) (VEQOldDBManager::shareInstance().*kind.setQueue)(nullptr);
  }
  for (const OpenStore& store : stores_) VEQOldDBManager::clearCountCache(store.queue.get());
}

bool MigrationRun::refuse(const std::string& subject, const std::string& problem) {
  err_ << fmt::format("veq-migrate: {}: {}\n", subject, problem);
  return false;
}

bool MigrationRun::checkTimeZone() {
  if (VEQSDKUtility::setTimeZone(options_.timeZone.value_or(""))) return true;
  return refuse(*options_.timeZone, "unknown time zone");
}

bool MigrationRun::openStores() {
  for (const LegacyStoreKind& kind : legacyStoreKinds()) {
    const std::string& path = storePath(options_, kind);
    if (path.empty()) continue;
    std::string problem;
    std::shared_ptr<VEQFMDatabase> db = openCheckedDatabase(path, SQLITE_OPEN_READONLY, &problem);
    if (!db) return refuse(path, problem);
    stores_.push_back({&kind, path, std::make_shared<VEQFMDatabaseQueue>(db)});
  }
  if (stores_.empty()) return refuse("run", "no legacy store given (--ios, --android or --android-cloud)");
  return true;
}

bool MigrationRun::checkDefaults() {
  VEQUserDefaults& defaults = VEQUserDefaults::standardUserDefaults();
  defaults.clear();
  const std::string& path = options_.defaultsPath;
  if (path.empty()) return true;
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return refuse(path, fs::exists(path, ec) ? "not a regular file" : "no such file");
  std::string error;
  if (!defaults.loadFromFile(path, &error)) return refuse(path, error);
  return true;
}

// The output and the JSON report must be creatable where they are named,
// and the output must not overwrite an input.
bool MigrationRun::checkOutputPaths() {
  std::error_code ec;
  for (const OpenStore& store : stores_) {
    if (fs::equivalent(options_.outPath, store.path, ec)) return refuse(options_.outPath, "is also an input store");
    if (fs::equivalent(options_.rejectsPath, store.path, ec)) {
      return refuse(options_.rejectsPath, "is also an input store");
    }
  }
  for (const std::string& path : {options_.outPath, options_.jsonPath, options_.rejectsPath}) {
    if (path.empty()) continue;
    if (fs::is_directory(path, ec)) return refuse(path, "is a directory");
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty() && !fs::is_directory(parent, ec)) return refuse(path, "no such directory");
    const std::string& probe = fs::exists(path, ec) ? path : (parent.empty() ? std::string(".") : parent.string());
    if (::access(probe.c_str(), W_OK) != 0) return refuse(path, "not writable");
  }
  return true;
}

bool MigrationRun::openOutput() {
  const std::string& path = options_.outPath;
  std::error_code ec;
  const bool created = !fs::exists(path, ec);
  std::string problem;
  std::shared_ptr<VEQFMDatabase> db = created || fs::file_size(path, ec) == 0
                                          ? createDatabase(path, &problem)
                                          : openCheckedDatabase(path, SQLITE_OPEN_READWRITE, &problem);
  if (db) problem = prepareOutput(*db);
  if (!problem.empty()) {
    if (created) discardOutput(db.get());
    return refuse(path, problem);
  }
  failedStatementsBefore_ = db->failedStatementCount();
  output_ = std::make_shared<VEQFMDatabaseQueue>(db);
  return true;
}

void MigrationRun::discardOutput(VEQFMDatabase* db) {
  if (db) db->close();
  std::error_code ignored;
  for (const char* suffix : {"", "-journal"}) fs::remove(options_.outPath + suffix, ignored);
}

void MigrationRun::prepareRegistries() {
  VEQProDBManager& manager = VEQProDBManager::shareInstance();
  for (const OpenStore& store : stores_) {
    (manager.*store.kind->setRegistry)(registryRecords(*store.kind, store.queue.get()));
    if (store.kind->setQueue) (VEQOldDBManager::shareInstance().*store.kind->setQueue)(store.queue.get());
  }
}

void MigrationRun::migrateStore(const OpenStore& store) {
  VEQFMDatabase& legacy = *store.queue->database();
  const std::set<std::string> present = tableNames(legacy);
  std::set<std::string> sent;
  for (const MigrationStep& step : migrationSteps(*store.kind)) {
    if (!present.count(step.table)) continue;
    sent.insert(step.table);
    TableOutcome outcome;
    outcome.store = store.kind->label;
    outcome.table = step.table;
    outcome.rows = rowCount(legacy, step.table);
    progress_.start(outcome.store, outcome.table, outcome.rows);
    VEQFMDatabase& db = *output_->database();
    db.markErrors();
    int64_t position = 0;
    step.driver(step.table, output_.get(), store.queue.get(), [&](const std::string&, VEQFMDatabase*, bool success) {
      const VEQRowReport& row = VEQProDBManager::lastRowReport();
      outcome.count(success, row);
      rejects_.note(outcome.store, outcome.table, position++, row);
      progress_.advance();
    });
    outcome.failedStatements = db.failedSinceMark();
    outcome.firstError = db.firstErrorSinceMark();
    if (!rejects_.finishTable(legacy, step.table)) rejectsWritten_ = false;
    report_.tables.push_back(std::move(outcome));
  }
  for (const std::string& table : present) {
    if (!sent.count(table)) report_.notConverted.emplace_back(store.kind->label, table);
  }
}

void MigrationRun::finishReport(VEQFMDatabase& db) {
  report_.failedStatements = db.failedStatementCount() - failedStatementsBefore_;
  for (const std::string& table : veqNewTableNames()) report_.newRecords.emplace_back(table, rowCount(db, table));
}

int MigrationRun::run() {
  if (!checkTimeZone() || !openStores() || !checkDefaults() || !checkOutputPaths() || !openOutput()) return kRefused;
  prepareRegistries();
  std::string rejectsError;
  if (!rejects_.open(&rejectsError)) {
    refuse(options_.rejectsPath, rejectsError);
    return kRefused;
  }

  const auto started = std::chrono::steady_clock::now();
  for (const OpenStore& store : stores_) migrateStore(store);
  progress_.finish();
  report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  finishReport(*output_->database());

  bool written = true;
  std::string error;
  if (!options_.defaultsPath.empty() &&
      !VEQUserDefaults::standardUserDefaults().saveToFile(options_.defaultsPath, &error)) {
    written = refuse(options_.defaultsPath, error);
  }
  if (!rejectsWritten_) written = refuse(options_.rejectsPath, "cannot write the rejects file");
  printReport(report_, out_);
  if (!options_.jsonPath.empty()) {
    std::ofstream json(options_.jsonPath, std::ios::trunc);
    json << reportJson(report_);
    json.close();
    if (!json) written = refuse(options_.jsonPath, "cannot write the report");
  }
  return report_.succeeded() && written ? 0 : 1;
}

}  // namespace

int runMigration(const RunOptions& options, std::ostream& out, std::ostream& err) {
  try {
    return MigrationRun(options, out, err).run();
  } catch (const std::exception& e) {
    // The run object is gone by now: the new database is closed, which rolls
    // back the transaction that was open.
    err << fmt::format("veq-migrate: stopped: {}\n", e.what());
    return 1;
  }
}

}  // namespace veq
