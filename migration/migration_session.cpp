// migration_session.cpp — the session and the thread's current one.
#include "migration/migration_session.h"

#include "collaborators/old_db_manager.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/user_defaults.h"
#include "migration/process_state.h"
#include "migration/pro_db_manager.h"

namespace veq {

namespace {

thread_local VEQMigrationSession* tCurrent = nullptr;

}  // namespace

VEQMigrationSession::VEQMigrationSession() = default;
VEQMigrationSession::~VEQMigrationSession() = default;

VEQMigrationSession& VEQMigrationSession::defaultSession() {
  static VEQMigrationSession session;
  return session;
}

VEQMigrationSession& VEQMigrationSession::current() { return tCurrent ? *tCurrent : defaultSession(); }

VEQMigrationSession::Scope::Scope(VEQMigrationSession& session) : previous_(tCurrent) { tCurrent = &session; }
VEQMigrationSession::Scope::~Scope() { tCurrent = previous_; }

// Until the state moves in, every session forwards to the process-wide one.
VEQProDBManager& VEQMigrationSession::manager() { return VEQProDBManager::shareInstance(); }
VEQOldDBManager& VEQMigrationSession::legacyReader() { return VEQOldDBManager::shareInstance(); }
VEQUserDefaults& VEQMigrationSession::userDefaults() { return VEQUserDefaults::standardUserDefaults(); }
bool VEQMigrationSession::setTimeZone(std::shared_ptr<const VEQTimeZone> zone) {
  return VEQSDKUtility::setTimeZone(std::move(zone));
}
std::shared_ptr<const VEQTimeZone> VEQMigrationSession::timeZone() const { return VEQSDKUtility::timeZone(); }
void VEQMigrationSession::setFixedNow(std::optional<int64_t> epochSeconds) { VEQSDKUtility::setFixedNow(epochSeconds); }
void VEQMigrationSession::reset() { veqResetProcessState(); }

}  // namespace veq
