// drivers.cpp — the two public drivers and their dispatch tables.
//
// Each dispatch table lists, in the order the names are tested, the legacy
// tables a driver converts and the routine for each. A table whose routine is
// not part of the build is simply absent (and therefore ignored). To add a
// table, add one row at its place in the order; the comments mark the groups.

#include <string>
#include <vector>

#include "migration/driver.h"
#include "migration/pro_db_manager.h"

namespace veq {
namespace {

using M = VEQProDBManager;

// Legacy iOS store. "t_smart_device" must stay first.
const std::vector<VEQDriverRoute>& jkdbRoutes() {
  static const std::vector<VEQDriverRoute> routes = {
      // Device settings.
      {"t_smart_device", &M::deviceInfoDataMigrationWithDic},
      {"t_user", &M::userInfoDataMigrationWithDic},
      {"t_live_data", &M::liveDataMigrationWithDic},
      {"t_lost_find", &M::lostFindDataMigrationWithDic},
      {"t_screen_light", &M::screenLightDataMigrationWithDic},
      {"t_notice", &M::noticeDataMigrationWithDic},
      {"t_set_alarm", &M::alarmDataMigrationWithDic},
      {"t_set_unit", &M::unitDataMigrationWithDic},
      {"t_long_sit", &M::longSitDataMigrationWithDic},
      {"t_hand_gesture", &M::handGestureDataMigrationWithDic},
      {"t_find_phone", &M::findPhoneDataMigrationWithDic},
      {"t_musci_on", &M::openMusicDataMigrationWithDic},
      {"t_do_not_disturb", &M::doNotDisturbDataMigrationWithDic},
      {"t_heart_rate_interval", &M::hrIntervalDataMigrationWithDic},
      {"t_handel_type", &M::leftOrRightDataMigrationWithDic},
      {"t_heart_rate_mode", &M::hrModelDataMigrationWithDic},
      {"t_land_scape", &M::dispalyModeDataMigrationWithDic},
      {"t_sos_model", &M::oneKeySOSDataMigrationWithDic},
      {"t_psrm_data", &M::sportShortcutDataMigrationWithDic},
      {"t_weather_switch", &M::weatherSwitchDataMigrationWithDic},
      {"t_short_cut", &M::shortcurtDataMigrationWithDic},
      {"t_watch_dia", &M::watchDialDataMigrationWithDic},

      // Function tables. The fourth legacy sport group goes to the type-3
      // table; each language table has two legacy names.
      {"t_func_table", &M::funcTableDataMigrationWithDic},
      {"t_func_main", &M::mainFuncTableDataMigrationWithDic},
      {"t_func_control", &M::controlFuncTableDataMigrationWithDic},
      {"t_table_call", &M::callFuncTableDataMigrationWithDic},
      {"t_func_notify", &M::noiftyFuncTableDataMigrationWithDic},
      {"t_func_notify1", &M::noifty1FuncTableDataMigrationWithDic},
      {"t_func_other", &M::otherFuncTableDataMigrationWithDic},
      {"t_func_sms", &M::smsFuncTableDataMigrationWithDic},
      {"t_func_type", &M::alarmFuncTableDataMigrationWithDic},
      {"t_other_func_2", &M::other2FuncTableDataMigrationWithDic},
      {"t_sport_type0", &M::type0FuncTableDataMigrationWithDic},
      {"t_sport_type1", &M::type1FuncTableDataMigrationWithDic},
      {"t_sport_type2", &M::type2FuncTableDataMigrationWithDic},
      {"t_sport_type4", &M::type3FuncTableDataMigrationWithDic},
      {"t_main1", &M::main1FuncTableDataMigrationWithDic},
      {"t_func_ex_table", &M::exFuncTableDataMigrationWithDic},
      {"t_lang_support", &M::langFuncTableDataMigrationWithDic},
      {"t_langSupport", &M::langFuncTableDataMigrationWithDic},
      {"t_lang_support1", &M::lang1FuncTableDataMigrationWithDic},
      {"t_ex_lang_support", &M::lang1FuncTableDataMigrationWithDic},

      // Health, in this order: t_gps_data, t_sport_data, t_sport_item,
      // t_sleep_head, t_sleep_item, t_heart_rate_data, t_heart_rate_item,
      // t_active_data.
      {"t_gps_data", &M::jkdbGpsDataMigrationWithDic},
      {"t_sport_data", &M::jkdbSportDataMigrationWithDic},
      {"t_sport_item", &M::jkdbSportDataItemMigrationWithDic},
      {"t_sleep_head", &M::jkdbSleepDataMigrationWithDic},
      {"t_sleep_item", &M::jkdbSleepItemDataMigrationWithDic},
      {"t_heart_rate_data", &M::jkdbHrDataMigrationWithDic},
      {"t_heart_rate_item", &M::jkdbHrItemDataMigrationWithDic},
      {"t_active_data", &M::jkdbActivityDataMigrationWithDic},

      // Menstruation settings.
      {"t_menstruationInfo", &M::menstruationDataMigrationWithDic},
      {"t_menstruationRemind", &M::menstruationRemindDataMigrationWithDic},
  };
  return routes;
}

// Health tables of the two Android stores, then four legacy iOS health tables.
const std::vector<VEQDriverRoute>& healthRoutes() {
  static const std::vector<VEQDriverRoute> routes = {
      // Android, in this order: HEALTH_HEART_RATE, HEALTH_HEART_RATE_ITEM,
      // HEALTH_SLEEP, HEALTH_SLEEP_ITEM, HEALTH_SPORT, HEALTH_SPORT_ITEM,
      // ADDWEIGHTDADA, ACTIVITY_DATA, HEALTH_BLOOD_PRESSED,
      // HEALTH_BLOOD_PRESSED_ITEM, HEALTH_GPS, HEALTH_GPS_ITEM.
      {"HEALTH_HEART_RATE", &M::androidHrDataMigrationWithDic},
      {"HEALTH_HEART_RATE_ITEM", &M::androidHrItemDataMigrationWithDic},
      {"HEALTH_SLEEP", &M::androidSleepDataMigrationWithDic},
      {"HEALTH_SLEEP_ITEM", &M::androidSleepItemDataMigrationWithDic},
      {"HEALTH_SPORT", &M::androidSportDataMigrationWithDic},
      {"HEALTH_SPORT_ITEM", &M::androidSportItemDataMigrationWithDic},
      {"ADDWEIGHTDADA", &M::androidWeightDataMigrationWithDic},
      {"ACTIVITY_DATA", &M::androidActiveDataMigrationWithDic},
      {"HEALTH_BLOOD_PRESSED", &M::androidBpDataMigrationWithDic},
      {"HEALTH_BLOOD_PRESSED_ITEM", &M::androidBpItemDataMigrationWithDic},
      {"HEALTH_GPS", &M::androidGpsDataMigrationWithDic},
      {"HEALTH_GPS_ITEM", &M::androidGpsItemDataMigrationWithDic},

      // Legacy iOS, in this order: t_blood_presure, t_blood_item,
      // t_and_weight_data, t_active_data (the iOS activity routine, not the
      // one the legacy iOS driver uses).
      {"t_blood_presure", &M::iosBpDataMigrationWithDic},
      {"t_blood_item", &M::iosBpItemDataMigrationWithDic},
      {"t_and_weight_data", &M::iosWeightDataMigrationWithDic},
      {"t_active_data", &M::iosActiveDataMigrationWithDic},
  };
  return routes;
}

// The legacy iOS driver reports an empty name only to a callback that was
// given, and acknowledges every row as done when the database will not open.
VEQDriverSpec jkdbSpec() {
  return {"t_user_device", /*emptyNameNeedsCallback=*/false, VEQOpenFailure::kReportEveryRow, jkdbRoutes()};
}

// The health driver requires a callback for an empty name and stays silent
// when the database will not open.
VEQDriverSpec healthSpec() {
  return {"BASIC_INFOS", /*emptyNameNeedsCallback=*/true, VEQOpenFailure::kReportNothing, healthRoutes()};
}

std::vector<std::string> namesOf(const std::vector<VEQDriverRoute>& routes) {
  std::vector<std::string> names;
  names.reserve(routes.size());
  for (const VEQDriverRoute& route : routes) names.emplace_back(route.tableName);
  return names;
}

}  // namespace

void VEQProDBManager::jkdbDataMigrationWithTableName(const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                                                     VEQFMDatabaseQueue* oldQueue,
                                                     const CompletionCallback& saveSetUpComplete) {
  veqRunDriver(jkdbSpec(), tableName, dbQueue, oldQueue, saveSetUpComplete);
}

void VEQProDBManager::androidDataMigrationWithTableName(const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                                                        VEQFMDatabaseQueue* oldQueue,
                                                        const CompletionCallback& saveHealthComplete) {
  veqRunDriver(healthSpec(), tableName, dbQueue, oldQueue, saveHealthComplete);
}

std::vector<std::string> VEQProDBManager::jkdbMigratableTableNames() { return namesOf(jkdbRoutes()); }

std::vector<std::string> VEQProDBManager::androidMigratableTableNames() { return namesOf(healthRoutes()); }

}  // namespace veq
