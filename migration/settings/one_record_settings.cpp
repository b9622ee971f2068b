// The one-record settings: one legacy row per device, a handful of columns
// copied into the device's record with a few fixed conversions
// (settings_description.h). The named members are entry points.
//
// The conversions are the encoding changes between the legacy and the new
// settings: unit, language and heart-rate-mode codes count from 1 instead of
// 0; the brightness step becomes a level of twenty per step; the 12-hour
// flag becomes the time format 1 (12-hour) or 2 (24-hour); the left-hand
// flag becomes a right-hand flag; what the legacy store did not keep is
// written as a constant.

#include "migration/pro_db_manager.h"
#include "migration/settings/settings_description.h"

namespace veq {

namespace {

using C = VEQConversion;

// Legacy "t_live_data".
const VEQSettingsDescription kLiveData{
    "VEQGetLiveDataBluetoothModel",
    {{"step", "step"}, {"calories", "calories"}, {"distances", "distances"}, {"active_time", "activeTime"},
     {"heart_rate", "heartRate"}}};

// Legacy "t_lost_find".
const VEQSettingsDescription kLostFind{"VEQSetPreventLostInfoBuletoothModel", {{"lost_type", "levelType"}}};

// Legacy "t_screen_light".
const VEQSettingsDescription kScreenLight{"VEQSetScreenBrightnessInfoBluetoothModel",
                                          {{"level", "levelValue", C::TimesTwenty}}};

// Legacy "t_set_unit".
const VEQSettingsDescription kUnit{
    "VEQSetUnitInfoBluetoothModel",
    {{"dist_uint", "distanceUnit", C::PlusOne}, {"weight_uint", "weightUnit", C::PlusOne},
     {"temp", "tempUnit", C::PlusOne}, {"stride", "strideWalk"}, {"stride_run", "strideRun"},
     {"language", "languageUnit", C::PlusOne}, {"is_12hour_format", "timeUnit", C::TwelveHourFlag}}};

// Legacy "t_hand_gesture".
const VEQSettingsDescription kHandGesture{
    "VEQSetHandUpInfoBuletoothModel",
    {{"isOpen", "isOpen"}, {"hasTimeRange", "isHasTimeRange"}, {"showSecond", "showSecond"},
     {"start_hour", "startHour"}, {"start_minute", "startMinute"}, {"end_hour", "endHour"},
     {"end_minute", "endMinute"}}};

// Legacy "t_find_phone".
const VEQSettingsDescription kFindPhone{"VEQSetFindPhoneInfoBuletoothModel", {{"is_open", "isOpen"}}};

// Legacy "t_musci_on".
const VEQSettingsDescription kOpenMusic{"VEQSetMusicOpenInfoBuletoothModel", {{"isOn", "isOpen"}}};

// Legacy "t_do_not_disturb": the legacy store had no repeat range.
const VEQSettingsDescription kDoNotDisturb{
    "VEQSetNoDisturbModeInfoBluetoothModel",
    {{"switch_flag", "isOpen"}, {"start_hour", "startHour"}, {"start_minute", "startMinute"},
     {"end_hour", "endHour"}, {"end_minute", "endMinute"}, veqConstant("isHaveRangRepeat", false)}};

// Legacy "t_heart_rate_interval": the legacy store kept no warm-up and no
// anaerobic zone.
const VEQSettingsDescription kHrInterval{
    "VEQSetHrIntervalInfoBluetoothModel",
    {{"burn_fat_threshold", "burnFat"}, {"aerobic_threshold", "aerobic"}, {"limit_threshold", "limitValue"},
     {"user_max_hr", "userMaxHr"}, veqConstant("warmUp", 0), veqConstant("anaerobic", 0)}};

// Legacy "t_handel_type".
const VEQSettingsDescription kLeftOrRight{"VEQSetLeftOrRightInfoBuletoothModel",
                                          {{"is_left_hand", "isRight", C::Negated}}};

// Legacy "t_heart_rate_mode".
const VEQSettingsDescription kHrMode{
    "VEQSetHrModeInfoBluetoothModel",
    {{"mode", "modeType", C::PlusOne}, {"hasTimeRange", "isHasTimeRange"}, {"start_hour", "startHour"},
     {"start_minute", "startMinute"}, {"end_hour", "endHour"}, {"end_minute", "endMinute"}}};

// Legacy "t_land_scape".
const VEQSettingsDescription kDisplayMode{"VEQSetDisplayModeInfoBluetoothModel", {{"display_mode", "modeType"}}};

// Legacy "t_sos_model".
const VEQSettingsDescription kOneKeySos{"VEQSetOneKeySosInfoBuletoothModel", {{"is_open", "isOpen"}}};

// Legacy "t_psrm_data": the sports offered as shortcuts, group by group.
const VEQSettingsDescription kSportShortcut{
    "VEQSetSportShortcutInfoBluetoothModel",
    {{"type1_walk", "isWalk"},
     {"type1_run", "isRun"},
     {"type1_by_bike", "isByBike"},
     {"type1_on_foot", "isOnFoot"},
     {"type1_swim", "isSwim"},
     {"type1_mountain_climbing", "isMountainClimbing"},
     {"type1_badminton", "isBadminton"},
     {"type1_other", "isOther"},
     {"type2_fitness", "isFitness"},
     {"type2_spinning", "isSpinning"},
     {"type2_ellipsoid", "isEllipsoid"},
     {"type2_treadmill", "isTreadmill"},
     {"type2_sit_up", "isSitUp"},
     {"type2_push_up", "isPushUp"},
     {"type2_dumbbell", "isDumbbell"},
     {"type2_weightlifting", "isWeightlifting"},
     {"type3_bodybuilding_exercise", "isBodybuildingExercise"},
     {"type3_yoga", "isYoga"},
     {"type3_rope_skipping", "isRopeSkipping"},
     {"type3_table_tennis", "isTableTennis"},
     {"type3_basketball", "isBasketball"},
     {"type3_footballl", "isFootball"},
     {"type3_volleyball", "isVolleyball"},
     {"type3_tennis", "isTennis"},
     {"type4_golf", "isGolf"},
     {"type4_baseball", "isBaseball"},
     {"type4_skiing", "isSkiing"},
     {"type4_roller_skating", "isRollerSkating"},
     {"type4_dance", "isDance"}}};

// Legacy "t_weather_switch".
const VEQSettingsDescription kWeatherSwitch{"VEQSetWeatherSwitchInfoBluetoothModel", {{"is_open", "isOpen"}}};

// Legacy "t_short_cut".
const VEQSettingsDescription kShortcut{"VEQSetShortcutInfoBluetoothModel", {{"type", "shortcutType"}}};

// Legacy "t_watch_dia".
const VEQSettingsDescription kWatchDial{"VEQSetWatchDiaInfoBluetoothModel", {{"type", "dialId"}}};

// Legacy "t_menstruationInfo". The record is looked up by the row's device
// but written without it, so it is never found again: each run inserts anew.
const VEQSettingsDescription kMenstruation{
    .modelClass = "VEQSetMenstruationInfoBluetoothModel",
    .pairs = {{"menstrualLength", "menstrualLength"},
              {"menstrualCycle", "menstrualCycle"},
              {"lastMenstrualYear", "lastMenstrualYear"},
              {"lastMenstrualMonth", "lastMenstrualMonth"},
              {"lastMenstrualDay", "lastMenstrualDay"},
              {"ovulationIntervalDay", "ovulationIntervalDay"},
              {"ovulationBeforeDay", "ovulationBeforeDay"},
              {"ovulationAfterDay", "ovulationAfterDay"}},
    .storesKey = false};

// Legacy "t_menstruationRemind", written without its device like the above.
const VEQSettingsDescription kMenstruationRemind{
    .modelClass = "VEQSetMenstruationRemindBluetoothModel",
    .pairs = {{"startDay", "startDay"}, {"ovulationDay", "ovulationDay"}, {"hour", "hour"}, {"minute", "minute"}},
    .storesKey = false};

}  // namespace

bool VEQProDBManager::liveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLiveData, dic, database);
}
bool VEQProDBManager::lostFindDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLostFind, dic, database);
}
bool VEQProDBManager::screenLightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kScreenLight, dic, database);
}
bool VEQProDBManager::unitDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kUnit, dic, database);
}
bool VEQProDBManager::handGestureDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kHandGesture, dic, database);
}
bool VEQProDBManager::findPhoneDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kFindPhone, dic, database);
}
bool VEQProDBManager::openMusicDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kOpenMusic, dic, database);
}
bool VEQProDBManager::doNotDisturbDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kDoNotDisturb, dic, database);
}
bool VEQProDBManager::hrIntervalDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kHrInterval, dic, database);
}
bool VEQProDBManager::leftOrRightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLeftOrRight, dic, database);
}
bool VEQProDBManager::hrModelDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kHrMode, dic, database);
}
bool VEQProDBManager::dispalyModeDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kDisplayMode, dic, database);
}
bool VEQProDBManager::oneKeySOSDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kOneKeySos, dic, database);
}
bool VEQProDBManager::sportShortcutDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kSportShortcut, dic, database);
}
bool VEQProDBManager::weatherSwitchDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kWeatherSwitch, dic, database);
}
bool VEQProDBManager::shortcurtDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kShortcut, dic, database);
}
bool VEQProDBManager::watchDialDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kWatchDial, dic, database);
}
bool VEQProDBManager::menstruationDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kMenstruation, dic, database);
}
bool VEQProDBManager::menstruationRemindDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kMenstruationRemind, dic, database);
}

}  // namespace veq
