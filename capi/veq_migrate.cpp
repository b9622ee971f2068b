// veq_migrate.cpp — the C interface over one migration session per handle.
//
// Every entry point catches every exception and turns it into a status and
// the handle's message; the C structs handed out point into C++ objects the
// handle keeps until the call that the header says replaces them.
#include "capi/veq_migrate.h"

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/time_zone.h"
#include "collaborators/user_defaults.h"
#include "files/migration_files.h"
#include "files/path_clash.h"
#include "files/verification.h"
#include "migration/migration_plan.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace {

using namespace veq;

// How messages name the files a migration is given.
constexpr std::array<const char*, VEQ_STORE_COUNT> kStoreLabels = {"the iOS store", "the Android store",
                                                                   "the Android cloud store"};
constexpr const char* kOutputLabel = "the output";
constexpr const char* kDefaultsLabel = "the user-defaults file";
constexpr const char* kStoppedByCaller = "stopped by the caller";

// A failure on its way to the caller: the status and the message.
struct Failure {
  veq_status status;
  std::string message;
};

// A zone answered by the kit's callback; releases the kit's context with
// the zone's last reference.
class KitZone final : public VEQTimeZone {
 public:
  KitZone(std::string name, veq_zone_offset_fn offsetAt, void* user, void (*release)(void*))
      : name_(std::move(name)), offsetAt_(offsetAt), user_(user), release_(release) {}
  ~KitZone() override {
    if (release_) release_(user_);
  }
  int64_t offsetAt(int64_t t) const override { return offsetAt_(user_, t); }
  std::string name() const override { return name_; }

 private:
  std::string name_;
  veq_zone_offset_fn offsetAt_;
  void* user_;
  void (*release_)(void*);
};

// The files a migration uses, for checkWrittenFiles: `first` (when it
// names a file) ahead of the stores, which are read, and the output,
// written or not as the caller checks it.
std::vector<NamedPath> migrationFiles(const std::vector<OpenStore>& stores, const std::string& output,
                                      bool outputWritten, const NamedPath& first) {
  std::vector<NamedPath> files;
  if (!first.path.empty()) files.push_back(first);
  for (const OpenStore& store : stores) files.push_back({store.path, kStoreLabels[size_t(store.kind->store)], false});
  files.push_back({output, kOutputLabel, outputWritten});
  return files;
}

bool validStore(veq_store store) { return store >= VEQ_STORE_IOS && store <= VEQ_STORE_ANDROID_CLOUD; }

LegacyStore storeOf(veq_store store) { return static_cast<LegacyStore>(store); }

std::string text(const char* s) { return s ? std::string(s) : std::string(); }

void fillSummary(veq_table_summary& c, const TableSummary& t) {
  c = veq_table_summary{};
  c.store = t.store.c_str();
  c.table = t.table.c_str();
  c.rows = t.rows;
  c.succeeded = t.succeeded;
  c.failed = t.failed;
  c.inserted = t.rowsWith(VEQRowOutcome::kInserted);
  c.updated = t.rowsWith(VEQRowOutcome::kUpdated);
  c.kept = t.rowsWith(VEQRowOutcome::kKept);
  c.skipped = t.rowsWith(VEQRowOutcome::kSkipped);
  c.write_failed = t.rowsWith(VEQRowOutcome::kWriteFailed);
  c.unstated = t.rowsWith(VEQRowOutcome::kUnstated);
  static_assert(static_cast<size_t>(VEQSkipReason::kCount) <= VEQ_SKIP_REASON_CAPACITY);
  for (size_t i = 0; i < t.skipReasons.size(); ++i) c.skip_reasons[i] = t.skipReasons[i];
  c.failed_statements = t.failedStatements;
  c.first_error = t.firstError.c_str();
  c.rolled_back = t.rolledBack ? 1 : 0;
}

}  // namespace

struct veq_migration {
  VEQMigrationSession session;
  std::vector<OpenStore> stores;  // in plan order
  std::array<std::vector<std::string>, VEQ_STORE_COUNT> plan;
  std::shared_ptr<VEQFMDatabaseQueue> output;
  std::string outputPath;
  std::string defaultsPath;
  std::chrono::milliseconds lockWait = kDefaultLockWait;
  std::string error;
  std::string zoneName;
  bool running = false;

  veq_row_callback onRow = nullptr;
  veq_table_callback onTable = nullptr;
  void* user = nullptr;

  // The last run's summaries and their C views.
  std::vector<TableSummary> tables;
  std::vector<veq_table_summary> cTables;
  std::vector<std::pair<std::string, std::string>> notConverted;

  // The last verification's findings and their C views.
  std::vector<TableFindings> findings;
  std::vector<veq_verify_table> cFindings;

  const OpenStore* store(veq_store kind) const {
    for (const OpenStore& s : stores) {
      if (s.kind->store == storeOf(kind)) return &s;
    }
    return nullptr;
  }
};

namespace {

Failure failure(veq_status status, std::string message) { return {status, std::move(message)}; }

// Runs `body` (which returns VEQ_OK or throws a Failure) with the handle's
// rules: a NULL handle, a run in progress and every exception become a status
// and a message.
template <class Body>
veq_status call(veq_migration* m, Body&& body) {
  if (!m) return VEQ_ERROR_ARGUMENT;
  if (m->running) {
    m->error = "a run is in progress on this migration; only its accessors may be called from a callback";
    return VEQ_ERROR_BUSY;
  }
  m->error.clear();
  try {
    body();
    m->error.clear();  // a call made from a callback during the body may have set it
    return VEQ_OK;
  } catch (const Failure& f) {
    m->error = f.message;
    return f.status;
  } catch (const VEQTimeZoneError& e) {
    m->error = e.what();
    return VEQ_ERROR_ZONE;
  } catch (const std::invalid_argument& e) {
    m->error = e.what();
    return VEQ_ERROR_ARGUMENT;
  } catch (const std::bad_alloc&) {
    m->error = "out of memory";
    return VEQ_ERROR_NO_MEMORY;
  } catch (const std::exception& e) {
    m->error = e.what();
    return VEQ_ERROR_INTERNAL;
  } catch (...) {
    m->error = "unknown error";
    return VEQ_ERROR_INTERNAL;
  }
}

void requireOpen(const veq_migration* m) {
  if (!m->output) throw failure(VEQ_ERROR_ARGUMENT, "the migration is not open (veq_migration_open)");
}

const OpenStore& requireStore(const veq_migration* m, veq_store store) {
  requireOpen(m);
  if (!validStore(store)) throw failure(VEQ_ERROR_ARGUMENT, "unknown store " + std::to_string(store));
  const OpenStore* open = m->store(store);
  if (!open) throw failure(VEQ_ERROR_ARGUMENT, std::string("no ") + veq_store_label(store) + " store is open");
  return *open;
}

// The zone must answer before anything is converted in it: the platform's
// zone is resolved on first use, and an unresolved one fails every date.
void requireZone(veq_migration* m) {
  VEQMigrationSession::Scope scope(m->session);
  m->session.timeZone()->offsetAt(0);
}

void setZone(veq_migration* m, std::shared_ptr<const VEQTimeZone> zone) {
  zone->offsetAt(0);  // throws VEQTimeZoneError for a zone that cannot answer
  m->session.setTimeZone(std::move(zone));
}

// The listener that turns the library's events into the C callbacks and a
// callback's nonzero answer into a stop.
struct CallbackBridge {
  veq_migration* m;
  bool stopRequested = false;
  bool stopBeforeNextTable = false;
  int64_t succeededBefore = 0;  // the table's success reports before this row

  MigrationListener listener() {
    MigrationListener l;
    if (m->onRow) {
      l.rowMigrated = [this](const TableSummary& t, int64_t position, const VEQRowReport& row) {
        veq_row_event event{};
        event.store = t.store.c_str();
        event.table = t.table.c_str();
        event.position = position;
        // The summary has counted this row's report already.
        event.succeeded = t.succeeded > succeededBefore ? 1 : 0;
        succeededBefore = t.succeeded;
        event.outcome = static_cast<veq_row_outcome>(row.outcome);
        event.reason = static_cast<veq_skip_reason>(row.reason);
        event.message = row.outcome == VEQRowOutcome::kWriteFailed ? row.message.c_str() : "";
        if (m->onRow(m->user, &event) != 0) stop();
      };
    }
    l.tableStarted = [this](const TableSummary& t) {
      succeededBefore = 0;
      if (stopBeforeNextTable) stop();
      if (m->onTable && tableEvent(t, VEQ_TABLE_STARTED) != 0) stop();
    };
    if (m->onTable) {
      l.tableFinished = [this](const TableSummary& t, VEQFMDatabase&) {
        if (tableEvent(t, VEQ_TABLE_FINISHED) != 0) stopBeforeNextTable = true;
      };
    }
    return l;
  }

  int tableEvent(const TableSummary& t, veq_table_event event) {
    veq_table_summary c;
    fillSummary(c, t);
    return m->onTable(m->user, &c, event);
  }

  [[noreturn]] void stop() {
    stopRequested = true;
    throw MigrationStopped(kStoppedByCaller);
  }
};

// Runs one plan call with the handle's callbacks and keeps its summaries;
// then writes the user defaults back unless the run stopped.
template <class Plan>
void run(veq_migration* m, Plan&& plan) {
  requireOpen(m);
  requireZone(m);
  m->tables.clear();
  m->cTables.clear();
  m->notConverted.clear();
  CallbackBridge bridge{m};
  const MigrationListener listener = bridge.listener();
  MigrationSummary summary;
  m->running = true;
  try {
    summary = plan(listener);
  } catch (...) {
    m->running = false;
    throw;
  }
  m->running = false;
  m->tables = std::move(summary.tables);
  m->notConverted = std::move(summary.notConverted);
  m->cTables.resize(m->tables.size());
  for (size_t i = 0; i < m->tables.size(); ++i) fillSummary(m->cTables[i], m->tables[i]);

  if (summary.stopReason) {
    const veq_status status = summary.stopCode == SQLITE_FULL ? VEQ_ERROR_DISK_FULL
                              : bridge.stopRequested          ? VEQ_ERROR_STOPPED
                                                              : VEQ_ERROR_IO;
    throw failure(status, *summary.stopReason);
  }
  std::string error;
  if (!m->defaultsPath.empty() && !m->session.userDefaults().saveToFile(m->defaultsPath, &error)) {
    throw failure(VEQ_ERROR_DEFAULTS, m->defaultsPath + ": " + error);
  }
}

}  // namespace

extern "C" {

const char* veq_migrate_version(void) { return VEQ_VERSION; }

int veq_migrate_api_version(void) { return VEQ_MIGRATE_API_VERSION; }

const char* veq_status_name(veq_status status) {
  static constexpr const char* kNames[] = {"ok",      "argument",  "store", "output", "locked",    "defaults", "zone",
                                           "stopped", "disk_full", "io",    "busy",   "no_memory", "internal"};
  const int i = static_cast<int>(status);
  return i >= 0 && i < static_cast<int>(std::size(kNames)) ? kNames[i] : "unknown";
}

const char* veq_store_label(veq_store store) {
  return validStore(store) ? legacyStoreKind(storeOf(store)).label.c_str() : nullptr;
}

const char* veq_outcome_name(veq_row_outcome outcome) {
  if (outcome < VEQ_ROW_UNSTATED || outcome > VEQ_ROW_WRITE_FAILED) return nullptr;
  return veqOutcomeName(static_cast<VEQRowOutcome>(outcome)).data();
}

const char* veq_skip_reason_name(veq_skip_reason reason) {
  if (reason < VEQ_SKIP_NONE || static_cast<int>(reason) >= static_cast<int>(VEQSkipReason::kCount)) return nullptr;
  return veqSkipReasonName(static_cast<VEQSkipReason>(reason)).data();
}

const char* veq_skip_reason_text(veq_skip_reason reason) {
  if (reason < VEQ_SKIP_NONE || static_cast<int>(reason) >= static_cast<int>(VEQSkipReason::kCount)) return nullptr;
  return veqSkipReasonText(static_cast<VEQSkipReason>(reason)).data();
}

veq_migration* veq_migration_create(void) {
  try {
    return new veq_migration();
  } catch (...) {
    return nullptr;
  }
}

void veq_migration_destroy(veq_migration* migration) {
  try {
    delete migration;
  } catch (...) {
  }
}

const char* veq_migration_error(const veq_migration* migration) { return migration ? migration->error.c_str() : ""; }

veq_status veq_migration_set_zone_local(veq_migration* m) {
  return call(m, [&] { setZone(m, VEQTimeZone::local()); });
}

veq_status veq_migration_set_zone_named(veq_migration* m, const char* iana_name) {
  return call(m, [&] {
    if (!iana_name || !*iana_name) throw failure(VEQ_ERROR_ARGUMENT, "no zone name given");
    setZone(m, VEQTimeZone::named(iana_name));
  });
}

veq_status veq_migration_set_zone_callback(veq_migration* m, const char* name, veq_zone_offset_fn offset_at,
                                           void* user, void (*release)(void* user)) {
  if (!m && release) release(user);
  return call(m, [&] {
    // Owned from here on: the zone releases the kit's context when it goes.
    std::shared_ptr<const VEQTimeZone> zone;
    try {
      zone = std::make_shared<KitZone>(name && *name ? name : "kit zone", offset_at, user, release);
    } catch (...) {
      if (release) release(user);
      throw;
    }
    if (!offset_at) throw failure(VEQ_ERROR_ARGUMENT, "no offset function given for the kit's zone");
    m->session.setTimeZone(std::move(zone));
  });
}

const char* veq_migration_zone_name(veq_migration* m) {
  const veq_status status = call(m, [&] {
    requireZone(m);
    m->zoneName = m->session.timeZone()->description();
  });
  return status == VEQ_OK ? m->zoneName.c_str() : nullptr;
}

veq_status veq_migration_set_lock_wait(veq_migration* m, int milliseconds) {
  return call(m, [&] {
    if (milliseconds < 0) throw failure(VEQ_ERROR_ARGUMENT, "the lock wait must not be negative");
    m->lockWait = std::chrono::milliseconds(milliseconds);
  });
}

veq_status veq_migration_open(veq_migration* m, const char* output_path, const char* ios_path,
                              const char* android_path, const char* android_cloud_path) {
  return call(m, [&] {
    if (m->output) throw failure(VEQ_ERROR_ARGUMENT, "the migration is open already");
    const std::string output = text(output_path);
    if (output.empty()) throw failure(VEQ_ERROR_ARGUMENT, "open: no output given");
    const StorePaths paths = {text(ios_path), text(android_path), text(android_cloud_path)};
    if (paths[0].empty() && paths[1].empty() && paths[2].empty()) {
      throw failure(VEQ_ERROR_ARGUMENT, "open: no legacy store given (iOS, Android or Android cloud)");
    }
    std::vector<OpenStore> stores;
    if (const Problem problem = openLegacyStores(paths, &stores)) throw failure(VEQ_ERROR_STORE, *problem);
    if (const Problem problem = checkWrittenFiles(migrationFiles(stores, output, true, {})))
      throw failure(VEQ_ERROR_OUTPUT, *problem);
    bool locked = false;
    std::shared_ptr<VEQFMDatabaseQueue> queue;
    if (const Problem problem = openOutput(output, m->lockWait, &queue, &locked)) {
      throw failure(locked ? VEQ_ERROR_LOCKED : VEQ_ERROR_OUTPUT, *problem);
    }
    std::array<std::vector<std::string>, VEQ_STORE_COUNT> plan;
    for (const OpenStore& store : stores) {
      for (const MigrationStep& step : presentSteps(*store.kind, tableNames(*store.queue->database()))) {
        plan[size_t(store.kind->store)].push_back(step.table);
      }
    }
    for (const OpenStore& store : stores) m->session.attachLegacyStore(store.kind->store, store.queue.get());
    m->plan = std::move(plan);
    m->stores = std::move(stores);
    m->output = std::move(queue);
    m->outputPath = output;
  });
}

veq_status veq_migration_set_user_defaults(veq_migration* m, const char* path) {
  return call(m, [&] {
    requireOpen(m);
    const std::string defaults = text(path);
    if (defaults.empty()) throw failure(VEQ_ERROR_ARGUMENT, "no user-defaults file given");
    const NamedPath written = {defaults, kDefaultsLabel, true, true};
    if (const Problem problem = checkWrittenFiles(migrationFiles(m->stores, m->outputPath, false, written)))
      throw failure(VEQ_ERROR_DEFAULTS, *problem);
    VEQUserDefaults loaded;
    if (const Problem problem = loadUserDefaults(defaults, loaded)) throw failure(VEQ_ERROR_DEFAULTS, *problem);
    m->session.userDefaults() = std::move(loaded);
    m->defaultsPath = defaults;
  });
}

veq_status veq_migration_fill_registries(veq_migration* m) {
  return call(m, [&] {
    requireOpen(m);
    for (const OpenStore& store : m->stores) m->session.attachLegacyStore(store.kind->store, store.queue.get());
  });
}

veq_status veq_migration_registry_size(veq_migration* m, veq_store store, int64_t* records) {
  return call(m, [&] {
    if (!records || !validStore(store)) throw failure(VEQ_ERROR_ARGUMENT, "no count to fill or an unknown store");
    VEQProDBManager& manager = m->session.manager();
    const std::array<std::vector<VEQDict>*, VEQ_STORE_COUNT> registries = {
        &manager.iosUserDevices(), &manager.androidUserDevices(), &manager.androidCloudUserDevices()};
    *records = static_cast<int64_t>(registries[size_t(store)]->size());
  });
}

size_t veq_migration_plan_count(veq_migration* m, veq_store store) {
  return m && validStore(store) ? m->plan[size_t(store)].size() : 0;
}

const char* veq_migration_plan_table(veq_migration* m, veq_store store, size_t index) {
  if (!m || !validStore(store) || index >= m->plan[size_t(store)].size()) return nullptr;
  return m->plan[size_t(store)][index].c_str();
}

veq_status veq_migration_store_rows(veq_migration* m, veq_store store, int64_t* rows) {
  return call(m, [&] {
    if (!rows || !validStore(store)) throw failure(VEQ_ERROR_ARGUMENT, "no count to fill or an unknown store");
    requireOpen(m);
    *rows = 0;
    const OpenStore* open = m->store(store);
    if (!open) return;
    int64_t total = 0;
    for (const std::string& table : m->plan[size_t(store)]) {
      const int64_t n = rowCount(*open->queue->database(), table);
      if (n < 0) throw failure(VEQ_ERROR_STORE, open->path + ": cannot count the rows of " + table);
      total += n;
    }
    *rows = total;
  });
}

veq_status veq_migration_table_rows(veq_migration* m, veq_store store, const char* table, int64_t* rows) {
  return call(m, [&] {
    if (!rows || !table) throw failure(VEQ_ERROR_ARGUMENT, "no table or no count to fill");
    const OpenStore& open = requireStore(m, store);
    VEQFMDatabase& db = *open.queue->database();
    if (!tableNames(db).count(table)) {
      throw failure(VEQ_ERROR_ARGUMENT, open.path + ": holds no table \"" + std::string(table) + "\"");
    }
    *rows = rowCount(db, table);
    if (*rows < 0) throw failure(VEQ_ERROR_STORE, open.path + ": cannot count the rows of " + table);
  });
}

veq_status veq_migration_set_callbacks(veq_migration* m, veq_row_callback on_row, veq_table_callback on_table,
                                       void* user) {
  return call(m, [&] {
    m->onRow = on_row;
    m->onTable = on_table;
    m->user = user;
  });
}

veq_status veq_migration_run_table(veq_migration* m, veq_store store, const char* table) {
  return call(m, [&] {
    if (!table) throw failure(VEQ_ERROR_ARGUMENT, "no table given");
    requireStore(m, store);
    run(m, [&](const MigrationListener& l) {
      return m->session.migrateTable(storeOf(store), table, m->output.get(), &l);
    });
  });
}

veq_status veq_migration_run_store(veq_migration* m, veq_store store) {
  return call(m, [&] {
    requireStore(m, store);
    run(m, [&](const MigrationListener& l) { return m->session.migrateStore(storeOf(store), m->output.get(), &l); });
  });
}

veq_status veq_migration_run_all(veq_migration* m) {
  return call(m, [&] {
    run(m, [&](const MigrationListener& l) { return m->session.migrateAllStores(m->output.get(), &l); });
  });
}

size_t veq_migration_table_count(const veq_migration* m) { return m ? m->cTables.size() : 0; }

const veq_table_summary* veq_migration_table(const veq_migration* m, size_t index) {
  return m && index < m->cTables.size() ? &m->cTables[index] : nullptr;
}

size_t veq_migration_not_converted_count(const veq_migration* m) { return m ? m->notConverted.size() : 0; }

veq_status veq_migration_not_converted(const veq_migration* m, size_t index, const char** store, const char** table) {
  if (!m || index >= m->notConverted.size() || !store || !table) return VEQ_ERROR_ARGUMENT;
  *store = m->notConverted[index].first.c_str();
  *table = m->notConverted[index].second.c_str();
  return VEQ_OK;
}

veq_status veq_migration_verify(veq_migration* m, int* holds_everything) {
  return call(m, [&] {
    if (!holds_everything) throw failure(VEQ_ERROR_ARGUMENT, "no verdict to fill");
    requireOpen(m);
    requireZone(m);
    m->findings.clear();
    m->cFindings.clear();
    std::vector<StoreToVerify> stores;
    for (const OpenStore& store : m->stores) stores.push_back({store.kind->store, store.queue.get()});
    std::vector<TableFindings> findings;
    if (const Problem problem =
            verifyMigration(stores, m->defaultsPath, m->session.timeZone(), m->outputPath, 0, &findings)) {
      throw failure(VEQ_ERROR_IO, *problem);
    }
    m->findings = std::move(findings);
    for (const TableFindings& t : m->findings) {
      m->cFindings.push_back({t.table.c_str(), t.expected, t.output, t.missing, t.differing, t.extra});
    }
    *holds_everything = holdsEverything(m->findings) ? 1 : 0;
  });
}

size_t veq_migration_verify_count(const veq_migration* m) { return m ? m->cFindings.size() : 0; }

const veq_verify_table* veq_migration_verify_table(const veq_migration* m, size_t index) {
  return m && index < m->cFindings.size() ? &m->cFindings[index] : nullptr;
}

}  // extern "C"
