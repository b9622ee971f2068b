// The function-table (capability) conversions.
//
// Each legacy capability table holds one row per device with one column per
// capability; each becomes one record per device of a new capability table.
// The members differ only in data (settings_description.h): the model class
// (and with it the new table) and the pairs of legacy column and model
// property; "t_main1" also differs in its look-up and leaves its records
// unmarked. The named members are entry points.
//
// The legacy column names are not derivable from the property names ("login_in"
// → logIn, "footballl" → football, "HIDPhoto" → hidPhoto), so every pair is
// listed as it stands. A column missing from the row reads as NO or 0.

#include "migration/pro_db_manager.h"
#include "migration/settings/settings_description.h"

namespace veq {

namespace {

// Legacy "t_lang_support1" and "t_ex_lang_support".
const VEQSettingsDescription kLang1{
    "VEQGetFuncTable2BluetoothModel",
    {{"romanian", "romanian"}, {"lithuanian", "lithuanian"}, {"dutch", "dutch"}, {"slovenian", "slovenian"},
     {"hungarian", "hungarian"}, {"polish", "polish"}, {"russian", "russian"}, {"ukrainian", "ukrainian"}}};

// Legacy "t_lang_support" and "t_langSupport".
const VEQSettingsDescription kLang{
    "VEQGetFuncTable1BluetoothModel",
    {{"ch", "ch"}, {"eng", "eng"}, {"french", "french"}, {"german", "german"},
     {"italian", "italian"}, {"spanish", "spanish"}, {"japanese", "japanese"}, {"czech", "czech"}}};

// Legacy "t_func_ex_table".
const VEQSettingsDescription kEx{
    "VEQGetFuncTable19BluetoothModel",
    {{"gps", "gps"}, {"sleep_period", "sleepPeriod"}, {"screen_brightness", "screenBrightness"}}};

// Legacy "t_main1". Its lookup trusts only a positive pk, and its records are
// not marked as migrated.
const VEQSettingsDescription kMain1{
    .modelClass = "VEQGetFuncTable18BluetoothModel",
    .pairs = {{"login_in", "logIn"}, {"hidPhoto", "hidPhoto"}, {"WatchDial", "watchDial"}, {"shortcut", "shortcut"},
              {"unitSet", "unitSet"}, {"BloodPressure", "bloodPressure"}, {"wechatSport", "wechatSport"},
              {"fineTimeControl", "fineTimeControl"}},
    .marksMigrated = false,
    .lookup = VEQLookupRule::DevicePositivePk};

// Legacy "t_sport_type4" (the fourth sport group is the new type-3 table).
const VEQSettingsDescription kType3{
    "VEQGetFuncTable17BluetoothModel",
    {{"golf", "golf"}, {"baseball", "baseball"}, {"skiing", "skiing"}, {"roller_skating", "rollerSkating"},
     {"dance", "dance"}}};

// Legacy "t_sport_type2".
const VEQSettingsDescription kType2{
    "VEQGetFuncTable16BluetoothModel",
    {{"bodybuilding_exercise", "bodybuildingExercise"}, {"yoga", "yoga"}, {"rope_skipping", "ropeSkipping"},
     {"table_tennis", "tableTennis"}, {"basketball", "basketball"}, {"footballl", "football"},
     {"volleyball", "volleyball"}, {"tennis", "tennis"}}};

// Legacy "t_sport_type1".
const VEQSettingsDescription kType1{
    "VEQGetFuncTable15BluetoothModel",
    {{"fitness", "fitness"}, {"spinning", "spinning"}, {"ellipsoid", "ellipsoid"}, {"treadmill", "treadmill"},
     {"sit_up", "sitUp"}, {"push_up", "pushUp"}, {"dumbbell", "dumbbell"}, {"weightlifting", "weightlifting"}}};

// Legacy "t_sport_type0".
const VEQSettingsDescription kType0{
    "VEQGetFuncTable14BluetoothModel",
    {{"walk", "walk"}, {"run", "run"}, {"by_bike", "byBike"}, {"on_foot", "onFoot"}, {"swim", "swim"},
     {"mountain_climbing", "mountainClimbing"}, {"badminton", "badminton"}, {"other", "other"}}};

// Legacy "t_other_func_2".
const VEQSettingsDescription kOther2{
    "VEQGetFuncTable13BluetoothModel",
    {{"staticHR", "staticHr"}, {"doNotDisturb", "doNotDisturb"}, {"displayMode", "displayMode"},
     {"heartRateMonitor", "heartRateMonitor"}, {"bilateral_antiLost", "bilateralAntiLost"},
     {"all_app_notice", "allAppNotice"}, {"flip_screen", "flipScreen"}, {"noShowHRInterval", "noShowHrInterval"}}};

// Legacy "t_func_type": the alarm kinds.
const VEQSettingsDescription kAlarm{
    "VEQGetFuncTable6BluetoothModel",
    {{"wakeUp", "wakeUp"}, {"sleep", "sleep"}, {"sport", "sport"}, {"medicine", "medicine"}, {"dating", "dating"},
     {"party", "party"}, {"metting", "metting"}, {"custom", "custom"}}};

// Legacy "t_func_sms".
const VEQSettingsDescription kSms{
    "VEQGetFuncTable12BluetoothModel",
    {{"tipInfoContact", "tipInfoContact"}, {"tipInfoNum", "tipInfoNum"}, {"tipInfoContent", "tipInfoContent"}}};

// Legacy "t_func_other".
const VEQSettingsDescription kOther{
    "VEQGetFuncTable11BluetoothModel",
    {{"sedentariness", "sedentariness"}, {"antilost", "antilost"}, {"onetouchCalling", "onetouchCalling"},
     {"findPhone", "findPhone"}, {"findDevice", "findDevice"}, {"configDefault", "configDefault"},
     {"upHandGesture", "upHandGesture"}, {"weather", "weather"}}};

// No legacy table feeds it; offered for completeness.
const VEQSettingsDescription kNoifty2{
    "VEQGetFuncTable10BluetoothModel",
    {{"VKontakte", "vkontakte"}, {"Line", "line"}, {"Viber", "viber"}, {"KakaoTalk", "kakaoTalk"},
     {"Gmail", "gmail"}, {"Outlook", "outlook"}, {"Snapchat", "snapchat"}}};

// Legacy "t_func_notify1".
const VEQSettingsDescription kNoifty1{
    "VEQGetFuncTable9BluetoothModel",
    {{"whatsapp", "whatsapp"}, {"messengre", "messengre"}, {"instagram", "instagram"}, {"linked_in", "linkedIn"},
     {"calendar", "calendar"}, {"skype", "skype"}, {"alarm_clock", "alarmClock"}}};

// Legacy "t_func_notify".
const VEQSettingsDescription kNoifty{
    "VEQGetFuncTable8BluetoothModel",
    {{"message", "message"}, {"email", "email"}, {"qq", "qq"}, {"weixin", "weixin"}, {"sinaWeibo", "sinaWeibo"},
     {"facebook", "facebook"}, {"twitter", "twitter"}}};

// Legacy "t_table_call".
const VEQSettingsDescription kCall{
    "VEQGetFuncTable7BluetoothModel",
    {{"calling", "calling"}, {"callingContact", "callingContact"}, {"callingNum", "callingNum"}}};

// Legacy "t_func_control".
const VEQSettingsDescription kControl{
    "VEQGetFuncTable5BluetoothModel",
    {{"takePhoto", "takePhoto"}, {"music", "music"}, {"HIDPhoto", "hidPhoto"}, {"FiveHRInterval", "fiveHrInterval"},
     {"BindAuth", "bindAuth"}, {"fastSync", "fastSync"}, {"exFuncTable", "exFuncTable"},
     {"BindCodeAuth", "bindCodeAuth"}}};

// Legacy "t_func_main".
const VEQSettingsDescription kMain{
    "VEQGetFuncTable4BluetoothModel",
    {{"stepCalculation", "stepCalculation"}, {"sleepMonitor", "sleepMonitor"}, {"singleSport", "singleSport"},
     {"realtimeData", "realtimeData"}, {"deviceUpdate", "deviceUpdate"}, {"heartRate", "heartRate"},
     {"Ancs", "ancs"}, {"time_line", "timeLine"}}};

// Legacy "t_func_table": two counts rather than flags.
const VEQSettingsDescription kFuncTable{
    "VEQGetDeviceFuncBluetoothModel",
    {{"sport_show_num", "sportShowCount"}, {"alarm_count", "alarmCount"}}};

}  // namespace

bool VEQProDBManager::lang1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLang1, dic, database);
}
bool VEQProDBManager::langFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLang, dic, database);
}
bool VEQProDBManager::exFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kEx, dic, database);
}
bool VEQProDBManager::main1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kMain1, dic, database);
}
bool VEQProDBManager::type3FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kType3, dic, database);
}
bool VEQProDBManager::type2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kType2, dic, database);
}
bool VEQProDBManager::type1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kType1, dic, database);
}
bool VEQProDBManager::type0FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kType0, dic, database);
}
bool VEQProDBManager::other2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kOther2, dic, database);
}
bool VEQProDBManager::alarmFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kAlarm, dic, database);
}
bool VEQProDBManager::smsFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kSms, dic, database);
}
bool VEQProDBManager::otherFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kOther, dic, database);
}
bool VEQProDBManager::noifty2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kNoifty2, dic, database);
}
bool VEQProDBManager::noifty1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kNoifty1, dic, database);
}
bool VEQProDBManager::noiftyFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kNoifty, dic, database);
}
bool VEQProDBManager::callFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kCall, dic, database);
}
bool VEQProDBManager::controlFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kControl, dic, database);
}
bool VEQProDBManager::mainFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kMain, dic, database);
}
bool VEQProDBManager::funcTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kFuncTable, dic, database);
}

}  // namespace veq
