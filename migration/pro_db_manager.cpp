// pro_db_manager.cpp — the shared instance and its device registries.

#include "migration/pro_db_manager.h"

#include "collaborators/predicate.h"

namespace veq {

VEQProDBManager& VEQProDBManager::shareInstance() {
  // Created once, on first use, safely under concurrent first calls; never
  // destroyed before the process ends.
  static VEQProDBManager* const instance = new VEQProDBManager();
  return *instance;
}

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
