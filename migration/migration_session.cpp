// migration_session.cpp — the session and the thread's current one.
#include "migration/migration_session.h"

#include <utility>

#include "collaborators/old_db_manager.h"
#include "collaborators/user_defaults.h"
#include "migration/pro_db_manager.h"
#include "migration/record_stream.h"

namespace veq {

namespace {

thread_local VEQMigrationSession* tCurrent = nullptr;

}  // namespace

VEQMigrationSession::VEQMigrationSession()
    : ownCollaborators_(std::make_unique<VEQCollaboratorState>()),
      collaborators_(ownCollaborators_.get()),
      manager_(new VEQProDBManager()),
      recordWriter_(std::make_unique<VEQRecordWriter>()) {}

VEQMigrationSession::VEQMigrationSession(UseProcessDefaults)
    : collaborators_(&VEQCollaboratorState::processDefault()),
      manager_(new VEQProDBManager()),
      recordWriter_(std::make_unique<VEQRecordWriter>()) {}

VEQMigrationSession::~VEQMigrationSession() = default;

VEQMigrationSession& VEQMigrationSession::defaultSession() {
  // Never destroyed: static objects' destructors may still use it at exit.
  static VEQMigrationSession* const session = new VEQMigrationSession(UseProcessDefaults{});
  return *session;
}

VEQMigrationSession& VEQMigrationSession::current() { return tCurrent ? *tCurrent : defaultSession(); }

VEQMigrationSession::Scope::Scope(VEQMigrationSession& session)
    : previous_(tCurrent), collaborators_(session.collaborators()) {
  tCurrent = &session;
}
VEQMigrationSession::Scope::~Scope() { tCurrent = previous_; }

VEQProDBManager& VEQMigrationSession::manager() { return *manager_; }
VEQOldDBManager& VEQMigrationSession::legacyReader() { return collaborators_->legacyReader(); }
VEQUserDefaults& VEQMigrationSession::userDefaults() { return collaborators_->userDefaults(); }

bool VEQMigrationSession::setTimeZone(std::shared_ptr<const VEQTimeZone> zone) {
  return collaborators_->setZone(std::move(zone));
}
std::shared_ptr<const VEQTimeZone> VEQMigrationSession::timeZone() const { return collaborators_->zone(); }
void VEQMigrationSession::setFixedNow(std::optional<int64_t> epochSeconds) {
  collaborators_->setFixedNow(epochSeconds);
}

void VEQMigrationSession::reset() {
  manager_->setIosUserDevices({});
  manager_->setAndroidUserDevices({});
  manager_->setAndroidCloudUserDevices({});
  manager_->currentDateStr_.clear();
  manager_->serialNumber_ = 0;
  rowReport_ = VEQRowReport{};
  straightforwardPaths_ = false;
  attachedStores_.clear();
  collaborators_->reset();
}

}  // namespace veq
