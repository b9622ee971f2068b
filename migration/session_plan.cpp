// session_plan.cpp — the session's plan calls: attach stores, run their
// tables, stop at a fatal error.
#include <sqlite3.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>

#include "migration/migration_plan.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"

namespace veq {

namespace {

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

std::string unreadable(const VEQFMDatabase& legacy) { return "cannot read the store: " + legacy.firstErrorSinceMark(); }

// Runs one step into `output`: the table's summary, or MigrationStopped with
// the cause when the table ended in a fatal error (it is then rolled back).
void runStep(const MigrationStep& step, VEQFMDatabaseQueue* output, VEQFMDatabaseQueue* store,
             const MigrationListener& listener, TableSummary& summary) {
  VEQFMDatabase& db = *output->database();
  VEQFMDatabase& legacy = *store->database();
  db.markErrors();
  legacy.markErrors();
  int64_t position = 0;
  std::optional<MigrationStopped> fatal;
  try {
    step.driver(step.table, output, store, [&](const std::string&, VEQFMDatabase*, bool success) {
      const VEQRowReport& row = VEQProDBManager::lastRowReport();
      summary.count(success, row);
      if (listener.rowMigrated) listener.rowMigrated(summary, position, row);
      ++position;
      // After an I/O error, a full disk or a lost lock the table cannot be
      // trusted and later statements fail too: stop here, and the queue
      // rolls the table back.
      if (const int code = fatalErrorSinceMark(db)) throw MigrationStopped(sqlite3_errstr(code), code);
      if (const int code = fatalErrorSinceMark(legacy)) throw MigrationStopped(unreadable(legacy), code);
    });
  } catch (const MigrationStopped& e) {
    fatal.emplace(e);
  }
  // A store that could not be read to the table's end: the driver rolled
  // the table back rather than keep part of it.
  if (const int code = fatalErrorSinceMark(legacy); !fatal && code) fatal.emplace(unreadable(legacy), code);
  // Rows were written but the table's transaction did not commit (COMMIT
  // itself failed): nothing of the table was kept.
  const bool wrote = summary.rowsWith(VEQRowOutcome::kInserted) + summary.rowsWith(VEQRowOutcome::kUpdated) > 0;
  if (!fatal && wrote && !output->lastTransactionCommitted()) {
    fatal.emplace("cannot commit: " + db.firstErrorSinceMark(), db.lastErrorCode() & 0xff);
  }
  summary.failedStatements = db.failedSinceMark();
  summary.firstError = db.firstErrorSinceMark();
  summary.rolledBack = fatal.has_value();
  if (listener.tableFinished) listener.tableFinished(summary, legacy);
  if (fatal) throw *fatal;
}

}  // namespace

void TableSummary::count(bool success, const VEQRowReport& row) {
  ++(success ? succeeded : failed);
  ++outcomes[static_cast<size_t>(row.outcome)];
  if (row.outcome == VEQRowOutcome::kSkipped) ++skipReasons[static_cast<size_t>(row.reason)];
}

void VEQMigrationSession::attachLegacyStore(LegacyStore kind, VEQFMDatabaseQueue* store) {
  Scope scope(*this);
  const LegacyStoreKind& k = legacyStoreKind(kind);
  (manager().*k.setRegistry)(registryRecords(k, store));
  if (k.setQueue) (legacyReader().*k.setQueue)(store);
  const auto at = std::find_if(attachedStores_.begin(), attachedStores_.end(),
                               [&](const AttachedStore& a) { return a.kind->store >= kind; });
  if (at != attachedStores_.end() && at->kind->store == kind) {
    at->store = store;
  } else {
    attachedStores_.insert(at, {&k, store});
  }
}

void VEQMigrationSession::detachLegacyStores() { attachedStores_.clear(); }

const VEQMigrationSession::AttachedStore& VEQMigrationSession::attachedStore(LegacyStore kind) const {
  const auto attached = std::find_if(attachedStores_.begin(), attachedStores_.end(),
                                     [&](const AttachedStore& a) { return a.kind->store == kind; });
  if (attached == attachedStores_.end()) {
    throw std::invalid_argument("no " + legacyStoreKind(kind).label + " store is attached to the session");
  }
  return *attached;
}

void VEQMigrationSession::runSteps(const AttachedStore& store, const std::vector<MigrationStep>& steps,
                                   VEQFMDatabaseQueue* output, const MigrationListener* listener,
                                   MigrationSummary& result) {
  Scope scope(*this);
  const LegacyStoreKind& k = *store.kind;
  const MigrationListener none;
  const MigrationListener& hear = listener ? *listener : none;
  VEQFMDatabase& legacy = *store.store->database();
  for (const MigrationStep& step : steps) {
    TableSummary& summary = result.tables.emplace_back();
    summary.store = k.label;
    summary.table = step.table;
    summary.rows = rowCount(legacy, step.table);
    try {
      if (hear.tableStarted) hear.tableStarted(summary);
      runStep(step, output, store.store, hear, summary);
    } catch (const MigrationStopped& e) {
      summary.rolledBack = true;
      result.stopCode = e.code();
      result.stopReason = std::string(e.what()) + " while migrating " + k.label + " " + step.table +
                          "; that table was rolled back and the run stopped";
      return;
    }
  }
}

MigrationSummary VEQMigrationSession::migrateStore(LegacyStore kind, VEQFMDatabaseQueue* output,
                                                   const MigrationListener* listener) {
  const AttachedStore& store = attachedStore(kind);
  const std::set<std::string> present = tableNames(*store.store->database());
  MigrationSummary result;
  runSteps(store, presentSteps(*store.kind, present), output, listener, result);
  if (result.stopped()) return result;
  std::set<std::string> sent;
  for (const TableSummary& table : result.tables) sent.insert(table.table);
  for (const std::string& table : present) {
    if (!sent.count(table)) result.notConverted.emplace_back(store.kind->label, table);
  }
  return result;
}

MigrationSummary VEQMigrationSession::migrateTable(LegacyStore kind, const std::string& table,
                                                   VEQFMDatabaseQueue* output, const MigrationListener* listener) {
  const AttachedStore& store = attachedStore(kind);
  const std::vector<MigrationStep> steps = presentSteps(*store.kind, tableNames(*store.store->database()));
  const auto step = std::find_if(steps.begin(), steps.end(), [&](const MigrationStep& s) { return s.table == table; });
  if (step == steps.end()) {
    throw std::invalid_argument("the " + store.kind->label + " store holds no table \"" + table +
                                "\" that a conversion takes");
  }
  MigrationSummary result;
  runSteps(store, {*step}, output, listener, result);
  return result;
}

MigrationSummary VEQMigrationSession::migrateAllStores(VEQFMDatabaseQueue* output, const MigrationListener* listener) {
  MigrationSummary all;
  const std::vector<AttachedStore> stores = attachedStores_;
  for (const AttachedStore& store : stores) {
    MigrationSummary one = migrateStore(store.kind->store, output, listener);
    std::move(one.tables.begin(), one.tables.end(), std::back_inserter(all.tables));
    std::move(one.notConverted.begin(), one.notConverted.end(), std::back_inserter(all.notConverted));
    if (one.stopped()) {
      all.stopReason = std::move(one.stopReason);
      break;
    }
  }
  return all;
}

}  // namespace veq
