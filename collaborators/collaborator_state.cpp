// collaborator_state.cpp — the collaborators' state and the thread's current
// one.
#include "collaborators/collaborator_state.h"

#include <atomic>
#include <string>
#include <utility>

namespace veq {

namespace {

thread_local VEQCollaboratorState* tCurrent = nullptr;

// Hands out zone generations, unique in the process: a result remembered for
// one generation is never taken for another zone, of this state or another.
// Only the counter is shared; the zones are each state's own.
std::atomic<uint64_t> gNextZoneGeneration{1};

uint64_t newZoneGeneration() { return gNextZoneGeneration.fetch_add(1, std::memory_order_relaxed); }

// Stands for the platform's zone when it cannot be resolved: every
// conversion fails with the reason instead of working in UTC.
class UnresolvedZone final : public VEQTimeZone {
 public:
  explicit UnresolvedZone(std::string problem) : problem_(std::move(problem)) {}
  int64_t offsetAt(int64_t) const override { throw VEQTimeZoneError(problem_); }
  std::string name() const override { return "unresolved"; }
  std::string source() const override { return problem_; }

 private:
  std::string problem_;
};

// The platform's zone, or the unresolved stand-in with its reason.
std::shared_ptr<const VEQTimeZone> platformZone(bool* resolved) {
  try {
    *resolved = true;
    return VEQTimeZone::local();
  } catch (const VEQTimeZoneError& e) {
    *resolved = false;
    return std::make_shared<UnresolvedZone>(e.what());
  }
}

}  // namespace

VEQCollaboratorState::VEQCollaboratorState() : zoneGeneration_(newZoneGeneration()) {}
VEQCollaboratorState::~VEQCollaboratorState() = default;

VEQCollaboratorState& VEQCollaboratorState::processDefault() {
  // Never destroyed: static objects' destructors may still use it at exit.
  static VEQCollaboratorState* const state = new VEQCollaboratorState();
  return *state;
}

VEQCollaboratorState& VEQCollaboratorState::current() { return tCurrent ? *tCurrent : processDefault(); }

VEQCollaboratorState::Scope::Scope(VEQCollaboratorState& state) : previous_(tCurrent) { tCurrent = &state; }
VEQCollaboratorState::Scope::~Scope() { tCurrent = previous_; }

const std::shared_ptr<const VEQTimeZone>& VEQCollaboratorState::zone() {
  // The platform's zone, resolved on first use under the generation the
  // state was made with: nothing was computed in that generation before.
  if (!zone_) {
    bool resolved = true;
    zone_ = platformZone(&resolved);
  }
  return zone_;
}

bool VEQCollaboratorState::setZone(std::shared_ptr<const VEQTimeZone> zone) {
  bool resolved = true;
  zone_ = zone ? std::move(zone) : platformZone(&resolved);
  zoneGeneration_ = newZoneGeneration();
  return resolved;
}

void VEQCollaboratorState::reset() {
  setZone(nullptr);
  fixedNow_.reset();
  userDefaults_.clear();
  legacyReader_.setAndroidQueue(nullptr);
  legacyReader_.setAndroidCloudQueue(nullptr);
  legacyReader_.forgetCounts();
}

}  // namespace veq
