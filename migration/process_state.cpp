// process_state.cpp — the one reset of the process-wide state.
#include "migration/process_state.h"

#include "collaborators/old_db_manager.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/user_defaults.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

void veqResetProcessState() {
  VEQProDBManager::setCurrentDateStr("");
  VEQProDBManager::setSerialNumber(0);
  veqBeginRow(nullptr);

  VEQProDBManager& manager = VEQProDBManager::shareInstance();
  manager.setIosUserDevices({});
  manager.setAndroidUserDevices({});
  manager.setAndroidCloudUserDevices({});
  VEQOldDBManager& reader = VEQOldDBManager::shareInstance();
  reader.setAndroidQueue(nullptr);
  reader.setAndroidCloudQueue(nullptr);
  VEQOldDBManager::clearCountCache();

  VEQSDKUtility::setFixedNow(std::nullopt);
  VEQSDKUtility::setTimeZone("");  // the platform's local time; forgets remembered conversions
  VEQUserDefaults::standardUserDefaults().clear();
}

}  // namespace veq
