// pro_db_manager.cpp — the current session's manager and its device registries.

#include "migration/pro_db_manager.h"

#include "collaborators/predicate.h"
#include "migration/migration_session.h"

namespace veq {

VEQProDBManager& VEQProDBManager::shareInstance() { return VEQMigrationSession::current().manager(); }

const VEQDict* VEQProDBManager::queryIosUserDeviceInfoWithKey(const std::string& key) {
  return veqFirstWhereTextEquals(shareInstance().iosUserDevices(), "user_id", key);
}

const VEQDict* VEQProDBManager::queryAndroidDidDeviceInfoWithKey(const VEQValue& key) {
  return veqFirstWhereIntegerEquals(shareInstance().androidUserDevices(), "D_ID", key.integerValue());
}

const VEQDict* VEQProDBManager::queryAndroidCloudDidDeviceInfoWithKey(const VEQValue& key) {
  return veqFirstWhereIntegerEquals(shareInstance().androidCloudUserDevices(), "D_ID", key.integerValue());
}

}  // namespace veq
