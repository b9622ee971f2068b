// collaborator_state.h — what the collaborators of one migration hold and
// change.
//
// A VEQCollaboratorState holds the mutable state below the migration layer
// of one migration: the time zone with its generation and the fixed "now"
// (VEQSDKUtility), the user defaults (VEQUserDefaults), the legacy reader's
// Android store handles and grouped counts (VEQOldDBManager) and the count of
// refused record look-ups (VEQDBManager). The collaborators' static
// operations work on the *current* state of the calling thread: the one a
// Scope has made current, else the process's default state. A migration
// session (migration/migration_session.h) owns one and makes it current with
// its own Scope; code below the migration layer never needs to name it.
//
// Rules:
//   * A state is used by one thread at a time; nothing in it is locked. A
//     Scope makes it current on the thread that opens it and restores the
//     previous one when it closes. Scopes nest.
//   * A new state holds what a new process held: the platform's local time
//     zone (resolved on first use), the real clock, an empty defaults store,
//     no Android handles, no remembered counts, no refused look-ups. reset()
//     puts it back to that, but for the refused look-ups: a running count,
//     read as differences.
//   * Every zone a state is given gets a generation number no other zone of
//     any state in the process had: results remembered per thread for a
//     generation (docs/dates.md) are therefore right for whichever state the
//     thread works in next.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "collaborators/old_db_manager.h"
#include "collaborators/time_zone.h"
#include "collaborators/user_defaults.h"

namespace veq {

class VEQCollaboratorState {
 public:
  VEQCollaboratorState();
  ~VEQCollaboratorState();
  VEQCollaboratorState(const VEQCollaboratorState&) = delete;
  VEQCollaboratorState& operator=(const VEQCollaboratorState&) = delete;

  // The state that serves the static operations outside any Scope.
  static VEQCollaboratorState& processDefault();
  // The state in effect on the calling thread.
  static VEQCollaboratorState& current();

  class Scope {
   public:
    explicit Scope(VEQCollaboratorState& state);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    VEQCollaboratorState* previous_;
  };

  // The zone of the date conversions, never null: the platform's local time
  // until another is set (see VEQSDKUtility::setTimeZone).
  const std::shared_ptr<const VEQTimeZone>& zone();
  // Sets the zone (null: the platform's local time, or a stand-in whose
  // every conversion throws when that cannot be resolved; false then) and
  // gives it a new generation.
  bool setZone(std::shared_ptr<const VEQTimeZone> zone);
  uint64_t zoneGeneration() const { return zoneGeneration_; }

  const std::optional<int64_t>& fixedNow() const { return fixedNow_; }
  void setFixedNow(std::optional<int64_t> epochSeconds) { fixedNow_ = epochSeconds; }

  VEQUserDefaults& userDefaults() { return userDefaults_; }
  VEQOldDBManager& legacyReader() { return legacyReader_; }

  int64_t refusedLookups() const { return refusedLookups_; }
  void countRefusedLookup() { ++refusedLookups_; }

  // Back to what a new state holds (the refused look-ups stay counted).
  void reset();

 private:
  std::shared_ptr<const VEQTimeZone> zone_;  // null until first used
  uint64_t zoneGeneration_;
  std::optional<int64_t> fixedNow_;
  VEQUserDefaults userDefaults_;
  VEQOldDBManager legacyReader_;
  int64_t refusedLookups_ = 0;
};

}  // namespace veq
