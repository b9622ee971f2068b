// migration_session.h — one migration: everything it needs and changes.
//
// A VEQMigrationSession owns the state of one user's migration: the three
// device registries and the drivers' run state (its VEQProDBManager), the
// row report, the switch to the straightforward reference paths, and a
// collaborator state (collaborators/collaborator_state.h) with the Android
// store handles and their grouped counts, the time zone and the clock, the
// user defaults and the refused look-up count. Two sessions share nothing
// mutable, so two threads, each running its own session, migrate two users'
// stores at once. What stays process-wide (unique queue identities and zone
// generations, per-thread caches keyed by those, SQLite's own switches) is
// listed in docs/architecture.md with the reason each is safe.
//
// The kit's operations (VEQProDBManager's static drivers and conversions,
// VEQSDKUtility's dates, VEQUserDefaults::standardUserDefaults …) keep their
// names and work on the *current* session of the calling thread: the one a
// Scope has made current, else the default session. A program that migrates
// one user at a time never needs to name a session: the default one serves
// it exactly as before.
//
// Rules:
//   * A session is used by one thread at a time; a Scope makes it (and its
//     collaborator state) current on the thread that opens it and restores
//     the previous ones when it closes. Scopes nest. Nothing is locked; the
//     per-row cost of finding the current session is one thread-local read.
//     A session must outlive every Scope opened on it.
//   * A new session holds what a new process held: empty registries, no
//     Android handles, no remembered counts, the platform's local time zone,
//     the real clock, an empty defaults store, run state "" and 0 and an
//     unstated row report, the fast paths. reset() puts a session back to
//     that (the refused look-up count, a running count read as
//     differences, stays). The default session works on the process's
//     default collaborator state, so code below the migration layer that
//     runs outside any Scope sees the same zone and defaults as it.
//   * The session does not own the databases it is handed; they must outlive
//     its use of them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collaborators/collaborator_state.h"
#include "collaborators/time_zone.h"
#include "migration/row_outcome.h"

namespace veq {

class VEQProDBManager;
class VEQOldDBManager;
class VEQUserDefaults;
class VEQFMDatabaseQueue;
class VEQRecordWriter;
enum class LegacyStore;
struct LegacyStoreKind;
struct MigrationListener;
struct MigrationSummary;
struct MigrationStep;

class VEQMigrationSession {
 public:
  VEQMigrationSession();
  ~VEQMigrationSession();
  VEQMigrationSession(const VEQMigrationSession&) = delete;
  VEQMigrationSession& operator=(const VEQMigrationSession&) = delete;

  // The session that serves the kit's operations outside any Scope.
  static VEQMigrationSession& defaultSession();
  // The session in effect on the calling thread.
  static VEQMigrationSession& current();

  // Makes `session` current on this thread while it lives.
  class Scope {
   public:
    explicit Scope(VEQMigrationSession& session);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    VEQMigrationSession* previous_;
    VEQCollaboratorState::Scope collaborators_;
  };

  // ---- What the session owns -------------------------------------------------
  VEQProDBManager& manager();        // device registries and run state
  VEQOldDBManager& legacyReader();   // Android store handles and counts
  VEQUserDefaults& userDefaults();
  VEQCollaboratorState& collaborators() { return *collaborators_; }
  // The report of the row being converted (VEQProDBManager::lastRowReport).
  VEQRowReport& rowReport() { return rowReport_; }
  // How the drivers write health records (record_stream.h).
  VEQRecordWriter& recordWriter() { return *recordWriter_; }
  // The straightforward reference paths (driver.h), for tests that compare
  // the fast paths against them.
  bool straightforwardPaths() const { return straightforwardPaths_; }
  void useStraightforwardPaths(bool on) { straightforwardPaths_ = on; }

  // The zone every date conversion of this session works in (see
  // VEQSDKUtility::setTimeZone for the rules), and a fixed "now".
  bool setTimeZone(std::shared_ptr<const VEQTimeZone> zone);
  std::shared_ptr<const VEQTimeZone> timeZone() const;
  void setFixedNow(std::optional<int64_t> epochSeconds);

  // Back to what a new session holds (attached stores forgotten too).
  void reset();

  // ==== The plan: whole legacy stores (session_plan.cpp) ====================
  // Which tables run, in what order and through which driver is
  // migration_plan.h; what the calls report is plan_summary.h. Each call
  // makes this session current on the calling thread while it works.
  //
  // attachLegacyStore fills this session's registry of the store's kind from
  // its device table and, for the Android kinds, hands the handle to this
  // session's legacy reader. Attaching a kind again replaces its store.
  // detachLegacyStores forgets the attached stores (not the registries).
  void attachLegacyStore(LegacyStore kind, VEQFMDatabaseQueue* store);
  void detachLegacyStores();
  // migrateStore runs every step of the kind's store whose table the store
  // holds, each in its driver's one transaction, into `output` (schema
  // installed); a table the store holds and no step names is listed as not
  // converted. It stops after a table that ended in a fatal error (see
  // plan_summary.h) and says why. Throws std::invalid_argument when no store
  // of that kind is attached.
  MigrationSummary migrateStore(LegacyStore kind, VEQFMDatabaseQueue* output,
                                const MigrationListener* listener = nullptr);
  // migrateTable runs the one step of the kind's store for `table`, as
  // migrateStore would run it. Throws std::invalid_argument when no store
  // of that kind is attached, or the store holds no such table that a step
  // names.
  MigrationSummary migrateTable(LegacyStore kind, const std::string& table, VEQFMDatabaseQueue* output,
                                const MigrationListener* listener = nullptr);
  // migrateAllStores runs the attached stores in plan order (iOS, Android,
  // Android cloud) and stops where a store's run stopped.
  MigrationSummary migrateAllStores(VEQFMDatabaseQueue* output, const MigrationListener* listener = nullptr);

  // ==== End of the plan ======================================================

 private:
  struct UseProcessDefaults {};
  explicit VEQMigrationSession(UseProcessDefaults);

  std::unique_ptr<VEQCollaboratorState> ownCollaborators_;  // null for the default session
  VEQCollaboratorState* collaborators_;
  std::unique_ptr<VEQProDBManager> manager_;
  VEQRowReport rowReport_;
  std::unique_ptr<VEQRecordWriter> recordWriter_;
  bool straightforwardPaths_ = false;

  // The plan's attached stores.
  struct AttachedStore {
    const LegacyStoreKind* kind;
    VEQFMDatabaseQueue* store;
  };
  std::vector<AttachedStore> attachedStores_;  // in plan order
  const AttachedStore& attachedStore(LegacyStore kind) const;
  // Runs `steps` of `store` into `output`, appending to `result`; stops
  // (stopReason set) after a table that ended in a fatal error.
  void runSteps(const AttachedStore& store, const std::vector<MigrationStep>& steps, VEQFMDatabaseQueue* output,
                const MigrationListener* listener, MigrationSummary& result);
};

}  // namespace veq
