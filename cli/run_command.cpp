// run_command.cpp — checks, set-up and reports of `veq-migrate run` around the
// session's plan calls.
#include "cli/run_command.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include "cli/command_paths.h"
#include "cli/health_coverage.h"
#include "cli/html_report.h"
#include "cli/progress.h"
#include "cli/rejects.h"
#include "cli/report.h"
#include "cli/scratch_migration.h"
#include "collaborators/db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/user_defaults.h"
#include "files/migration_files.h"
#include "files/path_clash.h"
#include "migration/migration_plan.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"

namespace veq {

namespace {

class MigrationRun {
 public:
  MigrationRun(const RunOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err), progress_(err, options.progress), rejects_(options.rejectsPath) {}
  ~MigrationRun();

  ExitStatus run();
  const MigrationReport& report() const { return report_; }

 private:
  bool refuse(const std::string& subject, const std::string& problem);
  bool refuse(const std::string& line);
  bool checkTimeZone();
  bool openStores();
  bool checkDefaults();
  bool checkOutputPaths();
  bool openOutput();
  void attachStores();
  bool migrate();
  void finishReport(VEQFMDatabase& db);

  const RunOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  // The run's own session: its registries, zone and defaults are nobody
  // else's, so another run may share the process.
  VEQMigrationSession session_;
  ProgressLine progress_;
  std::vector<OpenStore> stores_;
  std::shared_ptr<VEQFMDatabaseQueue> output_;
  int64_t failedStatementsBefore_ = 0;
  MigrationReport report_;
  RejectsFile rejects_;
  bool rejectsWritten_ = true;
};

MigrationRun::~MigrationRun() { progress_.finish(); }

bool MigrationRun::refuse(const std::string& subject, const std::string& problem) {
  err_ << fmt::format("veq-migrate: {}: {}\n", subject, problem);
  return false;
}

bool MigrationRun::refuse(const std::string& line) {
  err_ << fmt::format("veq-migrate: {}\n", line);
  return false;
}

bool MigrationRun::checkTimeZone() {
  try {
    session_.setTimeZone(runTimeZone(options_));
  } catch (const VEQTimeZoneError& e) {
    err_ << fmt::format("veq-migrate: {}\n", e.what());
    return false;
  }
  const std::shared_ptr<const VEQTimeZone> zone = session_.timeZone();
  report_.timeZone = {zone->name(), zone->source()};
  return true;
}

bool MigrationRun::openStores() {
  StorePaths paths;
  for (const LegacyStoreKind& kind : legacyStoreKinds()) paths[static_cast<size_t>(kind.store)] = storePath(options_, kind);
  if (const Problem problem = openLegacyStores(paths, &stores_)) return refuse(*problem);
  if (stores_.empty()) return refuse("run", "no legacy store given (--ios, --android or --android-cloud)");
  return true;
}

bool MigrationRun::checkDefaults() {
  if (const Problem problem = loadUserDefaults(options_.defaultsPath, session_.userDefaults())) return refuse(*problem);
  return true;
}

// Every file the run writes must be a file of its own (files/path_clash.h):
// not an input, not the output, not the defaults, not another report. Then
// each written file must be creatable where it is named.
bool MigrationRun::checkOutputPaths() {
  std::vector<NamedPath> files;
  for (const OpenStore& store : stores_) files.push_back({store.path, storeOption(*store.kind), false});
  // The defaults are replaced through a new file renamed into place.
  files.push_back({options_.defaultsPath, "--defaults", true, true});
  files.push_back({options_.outPath, "--out", true});
  files.push_back({options_.jsonPath, "--json", true});
  files.push_back({options_.rejectsPath, "--rejects", true});
  files.push_back({options_.htmlPath, "--html", true});
  if (const Problem problem = checkWrittenFiles(files)) return refuse(*problem);
  return true;
}

bool MigrationRun::openOutput() {
  if (const Problem problem = veq::openOutput(options_.outPath, options_.lockWait, &output_)) return refuse(*problem);
  failedStatementsBefore_ = output_->database()->failedStatementCount();
  return true;
}

void MigrationRun::attachStores() {
  for (const OpenStore& store : stores_) session_.attachLegacyStore(store.kind->store, store.queue.get());
}

// The library runs the tables; the run draws progress, keeps the rejects and
// turns a stop into the run's problem. True when every table ran.
bool MigrationRun::migrate() {
  MigrationListener listener;
  listener.tableStarted = [&](const TableSummary& t) { progress_.start(t.store, t.table, t.rows); };
  listener.rowMigrated = [&](const TableSummary& t, int64_t position, const VEQRowReport& row) {
    rejects_.note(t.store, t.table, position, row);
    progress_.advance();
  };
  listener.tableFinished = [&](const TableSummary& t, VEQFMDatabase& legacy) {
    if (!rejects_.finishTable(legacy, t.table)) rejectsWritten_ = false;
  };
  MigrationSummary summary = session_.migrateAllStores(output_.get(), &listener);
  report_.tables = std::move(summary.tables);
  report_.notConverted = std::move(summary.notConverted);
  if (summary.stopReason) {
    progress_.finish();
    refuse(options_.outPath, *summary.stopReason);
    report_.problems.push_back(*summary.stopReason);
  }
  return !summary.stopped();
}

void MigrationRun::finishReport(VEQFMDatabase& db) {
  report_.failedStatements = db.failedStatementCount() - failedStatementsBefore_;
  for (const std::string& table : veqNewTableNames()) report_.newRecords.emplace_back(table, rowCount(db, table));
}

ExitStatus MigrationRun::run() {
  // The kit's static calls below (refused look-ups, the defaults) answer for
  // this run's session.
  VEQMigrationSession::Scope scope(session_);
  if (!checkTimeZone() || !openStores() || !checkDefaults() || !checkOutputPaths() || !openOutput()) {
    return ExitStatus::kRefused;
  }
  attachStores();
  if (const Problem problem = rejects_.open()) {
    refuse(options_.rejectsPath, *problem);
    return ExitStatus::kRefused;
  }

  const auto started = std::chrono::steady_clock::now();
  const int64_t refusedBefore = VEQDBManager::refusedLookupCount();
  const bool stopped = !migrate();
  progress_.finish();
  report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  report_.refusedLookups = VEQDBManager::refusedLookupCount() - refusedBefore;
  finishReport(*output_->database());

  // The defaults lose the binding the device-info conversion took over; they
  // are written back only when every table was kept.
  std::string error;
  if (!stopped && !options_.defaultsPath.empty() && !session_.userDefaults().saveToFile(options_.defaultsPath, &error)) {
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
  return report_.succeeded() ? ExitStatus::kOk : ExitStatus::kFailures;
}

// The HTML report of a finished run: the days the stores give (converted
// again into a scratch database) beside the days the output now holds.
bool writeRunHtml(const RunOptions& options, const MigrationReport& report, std::ostream& err) {
  RunOptions stores = options;
  stores.htmlPath.clear();
  ScratchMigration scratch(stores, "", err);
  if (scratch.status() == ExitStatus::kRefused) return false;
  VEQMigrationSession session;  // days in the run's zone
  VEQMigrationSession::Scope scope(session);
  session.setTimeZone(runTimeZone(options));
  VEQFMDatabase converted(scratch.databasePath()), output(options.outPath);
  converted.openWithFlags(SQLITE_OPEN_READONLY);
  output.openWithFlags(SQLITE_OPEN_READONLY);
  HtmlReport page{"veq-migrate run", report, healthCoverage(converted), healthCoverage(output),
                  report.succeeded() ? "Migrated." : "Migrated WITH FAILURES.", {}};
  const Problem problem = writeHtmlReport(page, options.htmlPath);
  if (problem) err << fmt::format("veq-migrate: {}: {}\n", options.htmlPath, *problem);
  return !problem;
}

}  // namespace

std::shared_ptr<const VEQTimeZone> runTimeZone(const RunOptions& options) {
  return options.timeZone ? VEQTimeZone::named(*options.timeZone) : VEQTimeZone::local();
}

ExitStatus runMigration(const RunOptions& options, std::ostream& out, std::ostream& err, MigrationReport* report) {
  try {
    MigrationReport kept;
    ExitStatus status = ExitStatus::kOk;
    {
      MigrationRun run(options, out, err);
      status = run.run();
      kept = run.report();
    }
    if (status != ExitStatus::kRefused && !options.htmlPath.empty() && !writeRunHtml(options, kept, err)) {
      status = ExitStatus::kFailures;
    }
    if (report) *report = std::move(kept);
    return status;
  } catch (const std::exception& e) {
    // The run object is gone by now: the new database is closed, which rolls
    // back the transaction that was open.
    err << fmt::format("veq-migrate: stopped: {}\n", e.what());
    return ExitStatus::kFailures;
  }
}

}  // namespace veq
