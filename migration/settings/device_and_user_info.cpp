// The device's identity ("t_smart_device" → "t_get_device_info") and the
// user's body data and goals ("t_user" → "t_set_user_info").
//
// Device info is keyed on the row's own "mac_address". Earlier releases kept
// the binding of one device in the user defaults ("lanya", "wareMacString",
// "BLE_NAME", "BINDINGED"); the row of that device takes the binding over and
// the four defaults are removed, before the record is written and whether or
// not the write succeeds, so a binding is taken over at most once. The match
// is exact text equality: a MAC address in another letter case is another
// device.
//
// User info is keyed through the legacy iOS registry: the user's entry names
// the device ("smart_device_id") and its binding state ("band_status"). The
// legacy gender code counts from 0, the new one from 1.

#include "collaborators/user_defaults.h"
#include "migration/pro_db_manager.h"
#include "migration/settings/settings_description.h"

namespace veq {

namespace {

constexpr std::string_view kBoundUuid = "lanya";
constexpr std::string_view kBoundMac = "wareMacString";
constexpr std::string_view kBoundName = "BLE_NAME";
constexpr std::string_view kBound = "BINDINGED";

void takeOverBinding(const VEQSettingsRow& in, VEQModel& model) {
  VEQUserDefaults& defaults = VEQUserDefaults::standardUserDefaults();
  const VEQValue uuid = defaults.objectForKey(kBoundUuid);
  const std::string boundMac = defaults.objectForKey(kBoundMac).description();
  const VEQValue name = defaults.objectForKey(kBoundName);
  const bool bound = defaults.boolForKey(kBound);
  if (boundMac.empty() || boundMac != in.deviceKey) return;

  model.setValue("uuidStr", uuid);
  model.setValue("deviceName", name);
  model.setInteger("bindState", bound ? 1 : 0);
  for (std::string_view key : {kBoundUuid, kBoundMac, kBoundName, kBound}) defaults.removeObjectForKey(key);
}

// Legacy "t_smart_device". The binding fields start unbound; "pair_flag" is
// not carried over.
const VEQSettingsDescription kDeviceInfo{
    .modelClass = "VEQGetDeviceInfoBluetoothModel",
    .pairs = {{"device_id", "deviceId"},
              {"version", "version"},
              {"model", "mode"},
              {"batt_status", "battStatus"},
              {"batt_level", "battLevel"},
              {"reboot_flag", "rebootFlag"},
              {"device_pk_id", "uuidStr"},
              veqConstant("bindState", 0),
              veqConstant("bindTimeStr", ""),
              veqConstant("bindType", 0),
              veqConstant("bindTimeout", 0)},
    .keyColumn = "mac_address",
    .compute = takeOverBinding};

void copyRegistryBinding(const VEQSettingsRow& in, VEQModel& model) {
  model.setText("uuidStr", in.deviceKey);
  model.setInteger("bindState", in.registryEntry->integerForKey("band_status"));
}

// Legacy "t_user".
const VEQSettingsDescription kUserInfo{
    .modelClass = "VEQSetUserInfoBuletoothModel",
    .pairs = {{"height", "height"},
              {"weight", "weight"},
              {"gender", "gender", VEQConversion::PlusOne},
              {"year", "year"},
              {"month", "month"},
              {"day", "day"},
              {"goal_sleep_data_hour", "goalSleepDataHour"},
              {"goal_sleep_data_minute", "goalSleepDataMinute"},
              {"goal_sport_data", "goalStepData"},
              {"goal_type", "goalType"},
              {"user_id", "userId"}},
    .keyFrom = VEQDeviceKeyFrom::IosUserRegistry,
    .keyColumn = "user_id",
    .compute = copyRegistryBinding};

}  // namespace

bool VEQProDBManager::deviceInfoDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kDeviceInfo, dic, database);
}
bool VEQProDBManager::userInfoDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kUserInfo, dic, database);
}

}  // namespace veq
