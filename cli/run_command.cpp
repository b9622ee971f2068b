// run_command.cpp — checks, set-up and the table loop of `veq-migrate run`.
#include "cli/run_command.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "cli/command_paths.h"
#include "cli/database_inspection.h"
#include "cli/migration_plan.h"
#include "cli/progress.h"
#include "cli/health_coverage.h"
#include "cli/html_report.h"
#include "cli/rejects.h"
#include "cli/report.h"
#include "cli/scratch_migration.h"
#include "collaborators/db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/user_defaults.h"
#include "migration/process_state.h"

namespace veq {

namespace {

namespace fs = std::filesystem;

constexpr int kRefused = 2;

// Primary result codes after which nothing more can be written to the
// output: the disk, the file or the lock is gone.
constexpr int kFatalWriteCodes[] = {SQLITE_IOERR,    SQLITE_FULL,     SQLITE_BUSY,    SQLITE_LOCKED,
                                    SQLITE_READONLY, SQLITE_CANTOPEN, SQLITE_CORRUPT, SQLITE_NOTADB,
                                    SQLITE_NOMEM,    SQLITE_PROTOCOL};

// The first fatal code among the statements that failed since the table's
// mark, or 0. Any of them counts, not only the last statement's: a look-up
// that failed on a read error reads as "not found", and the write after it
// may succeed.
int fatalErrorSinceMark(const VEQFMDatabase& db) {
  for (const int code : kFatalWriteCodes) {
    if (db.failedSinceMarkWith(code)) return code;
  }
  return 0;
}

// Thrown from the driver's callback to stop a table at its first fatal
// write error; the queue rolls the table back.
struct FatalWriteError {
  std::string cause;
};

std::shared_ptr<VEQFMDatabase> createDatabase(const std::string& path, std::string* problem) {
  auto db = std::make_shared<VEQFMDatabase>(path);
  if (db->open()) return db;
  *problem = "cannot create: " + db->lastErrorMessage();
  return nullptr;
}

// Lock, pragmas and schema of the output: the problem, or "" when it is
// ready. Another process writing the output (another run, the SDK in a write
// transaction) is waited for up to `lockWait`; after that the run is refused
// before it writes anything.
std::string prepareOutput(VEQFMDatabase& db, std::chrono::milliseconds lockWait) {
  if (sqlite3_db_readonly(db.sqliteHandle(), "main") == 1) return "not writable";
  sqlite3_busy_timeout(db.sqliteHandle(), static_cast<int>(lockWait.count()));
  if (!db.executeStatements("BEGIN IMMEDIATE; ROLLBACK;")) {
    const int code = db.lastErrorCode() & 0xff;
    if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
      return fmt::format("locked by another process; gave up after waiting {:.1f} s for its write lock",
                         std::chrono::duration<double>(lockWait).count());
    }
    return "cannot write: " + db.lastErrorMessage();
  }
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
  const MigrationReport& report() const { return report_; }

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
  veqResetProcessState();
}

bool MigrationRun::refuse(const std::string& subject, const std::string& problem) {
  err_ << fmt::format("veq-migrate: {}: {}\n", subject, problem);
  return false;
}

bool MigrationRun::checkTimeZone() {
  try {
    VEQSDKUtility::setTimeZone(runTimeZone(options_));
  } catch (const VEQTimeZoneError& e) {
    err_ << fmt::format("veq-migrate: {}\n", e.what());
    return false;
  }
  const std::shared_ptr<const VEQTimeZone> zone = VEQSDKUtility::timeZone();
  report_.timeZone = {zone->name(), zone->source()};
  return true;
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

// Every file the run writes must be a file of its own (command_paths.h): not
// an input, not the output, not the defaults, not another report. Then each
// written file must be creatable where it is named.
bool MigrationRun::checkOutputPaths() {
  std::vector<NamedPath> files;
  for (const OpenStore& store : stores_) files.push_back({store.path, store.kind->option, false});
  files.push_back({options_.defaultsPath, "--defaults", true});
  files.push_back({options_.outPath, "--out", true});
  files.push_back({options_.jsonPath, "--json", true});
  files.push_back({options_.rejectsPath, "--rejects", true});
  files.push_back({options_.htmlPath, "--html", true});
  if (const std::optional<PathClash> clash = findPathClash(files)) {
    return refuse(clash->written.path,
                  fmt::format("{} names the same file as {}", clash->written.option, clash->other.option));
  }
  std::error_code ec;
  for (const NamedPath& file : files) {
    if (!file.written || file.path.empty()) continue;
    const std::string& path = file.path;
    if (fs::is_directory(path, ec)) return refuse(path, "is a directory");
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty() && !fs::is_directory(parent, ec)) return refuse(path, "no such directory");
    const std::string directory = parent.empty() ? std::string(".") : parent.string();
    // The defaults are replaced through a new file renamed into place.
    const std::string& probe = fs::exists(path, ec) && file.option != "--defaults" ? path : directory;
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
  if (db) problem = prepareOutput(*db, options_.lockWait);
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
    legacy.markErrors();
    int64_t position = 0;
    std::optional<FatalWriteError> fatal;
    try {
      step.driver(step.table, output_.get(), store.queue.get(), [&](const std::string&, VEQFMDatabase*, bool success) {
        const VEQRowReport& row = VEQProDBManager::lastRowReport();
        outcome.count(success, row);
        rejects_.note(outcome.store, outcome.table, position++, row);
        progress_.advance();
        // After an I/O error, a full disk or a lost lock the table cannot be
        // trusted and later statements fail too: stop here, and the queue
        // rolls the table back.
        if (const int code = fatalErrorSinceMark(db)) throw FatalWriteError{sqlite3_errstr(code)};
        if (fatalErrorSinceMark(legacy)) throw FatalWriteError{"cannot read the store: " + legacy.firstErrorSinceMark()};
      });
    } catch (const FatalWriteError& e) {
      fatal = e;
    }
    // A store that could not be read to the table's end: the driver rolled
    // the table back rather than keep part of it.
    if (!fatal && fatalErrorSinceMark(legacy)) fatal = FatalWriteError{"cannot read the store: " + legacy.firstErrorSinceMark()};
    // Rows were written but the table's transaction did not commit (COMMIT
    // itself failed): nothing of the table was kept.
    const bool wrote = outcome.rowsWith(VEQRowOutcome::kInserted) + outcome.rowsWith(VEQRowOutcome::kUpdated) > 0;
    if (!fatal && wrote && !output_->lastTransactionCommitted()) {
      fatal = FatalWriteError{"cannot commit: " + db.firstErrorSinceMark()};
    }
    outcome.failedStatements = db.failedSinceMark();
    outcome.firstError = db.firstErrorSinceMark();
    outcome.rolledBack = fatal.has_value();
    if (!rejects_.finishTable(legacy, step.table)) rejectsWritten_ = false;
    report_.tables.push_back(std::move(outcome));
    if (fatal) {
      throw FatalWriteError{fmt::format("{} while migrating {} {}; that table was rolled back and the run stopped",
                                        fatal->cause, store.kind->label, step.table)};
    }
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
  std::string error;
  if (!rejects_.open(&error)) {
    refuse(options_.rejectsPath, error);
    return kRefused;
  }

  const auto started = std::chrono::steady_clock::now();
  const int64_t refusedBefore = VEQDBManager::refusedLookupCount();
  bool stopped = false;
  try {
    for (const OpenStore& store : stores_) migrateStore(store);
  } catch (const FatalWriteError& e) {
    progress_.finish();
    stopped = true;
    refuse(options_.outPath, e.cause);
    report_.problems.push_back(e.cause);
  }
  progress_.finish();
  report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  report_.refusedLookups = VEQDBManager::refusedLookupCount() - refusedBefore;
  finishReport(*output_->database());

  // The defaults lose the binding the device-info conversion took over; they
  // are written back only when every table was kept.
  if (!stopped && !options_.defaultsPath.empty() &&
      !VEQUserDefaults::standardUserDefaults().saveToFile(options_.defaultsPath, &error)) {
    refuse(options_.defaultsPath, error);
    report_.problems.push_back("the user defaults were not written back: " + error);
  }
  if (!rejectsWritten_) {
    refuse(options_.rejectsPath, "cannot write the rejects file");
    report_.problems.push_back("the rejects file is incomplete");
  }
  if (!options_.jsonPath.empty()) {
    std::ofstream json(options_.jsonPath, std::ios::trunc);
    json << reportJson(report_);
    json.close();
    if (!json) {
      refuse(options_.jsonPath, "cannot write the report");
      report_.problems.push_back("the JSON report could not be written");
    }
  }
  if (!options_.quiet) printReport(report_, out_);
  return report_.succeeded() ? 0 : 1;
}

// The HTML report of a finished run: the days the stores give (converted
// again into a scratch database) beside the days the output now holds.
bool writeRunHtml(const RunOptions& options, const MigrationReport& report, std::ostream& err) {
  RunOptions stores = options;
  stores.htmlPath.clear();
  ScratchMigration scratch(stores, "", err);
  if (scratch.status() == 2) return false;
  VEQSDKUtility::setTimeZone(runTimeZone(options));  // days in the run's zone
  VEQFMDatabase converted(scratch.databasePath()), output(options.outPath);
  converted.openWithFlags(SQLITE_OPEN_READONLY);
  output.openWithFlags(SQLITE_OPEN_READONLY);
  HtmlReport page{"veq-migrate run", report, healthCoverage(converted), healthCoverage(output),
                  report.succeeded() ? "Migrated." : "Migrated WITH FAILURES.", {}};
  std::string error;
  if (writeHtmlReport(page, options.htmlPath, &error)) return true;
  err << fmt::format("veq-migrate: {}: {}\n", options.htmlPath, error);
  return false;
}

}  // namespace

std::shared_ptr<const VEQTimeZone> runTimeZone(const RunOptions& options) {
  return options.timeZone ? VEQTimeZone::named(*options.timeZone) : VEQTimeZone::local();
}

int runMigration(const RunOptions& options, std::ostream& out, std::ostream& err, MigrationReport* report) {
  try {
    MigrationReport kept;
    int status = 0;
    {
      MigrationRun run(options, out, err);
      status = run.run();
      kept = run.report();
    }
    if (status != 2 && !options.htmlPath.empty() && !writeRunHtml(options, kept, err)) status = 1;
    if (report) *report = std::move(kept);
    return status;
  } catch (const std::exception& e) {
    // The run object is gone by now: the new database is closed, which rolls
    // back the transaction that was open.
    err << fmt::format("veq-migrate: stopped: {}\n", e.what());
    return 1;
  }
}

}  // namespace veq
