// Capability-table conversions and the per-device upsert, on a real database
// with the new schema installed.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "migration/pro_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

class FuncTables : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db_.open());
    std::string err;
    ASSERT_TRUE(veqInstallSchema(&db_, &err)) << err;
  }
  int64_t count(const std::string& table, const std::string& mac = "") {
    return queryInt(&db_, "SELECT COUNT(*) FROM " + table + (mac.empty() ? "" : " WHERE mac_addr = '" + mac + "'"));
  }
  // The device's first record (lowest pk), or an empty row.
  VEQDict record(const std::string& table, const std::string& mac) {
    auto rs = db_.executeQuery("SELECT * FROM " + table + " WHERE mac_addr = ? ORDER BY pk", {mac});
    return rs && rs->next() ? rs->resultDictionary() : VEQDict();
  }

  VEQFMDatabase db_{":memory:"};
};

TEST_F(FuncTables, TheTwoCountsAreIntegersNotFlags) {
  EXPECT_TRUE(M::funcTableDataMigrationWithDic(
      {{"smart_device_id", "AA:01"}, {"alarm_count", 5}, {"sport_show_num", "9"}}, &db_));
  VEQDict counts = record("t_get_func_table", "AA:01");
  EXPECT_EQ(counts.integerForKey("alarm_count"), 5);
  EXPECT_EQ(counts.integerForKey("sport_show_count"), 9);
}

TEST_F(FuncTables, RowWithoutDeviceKeyIsSkippedAndFailingStatementReportsNo) {
  ASSERT_TRUE(db_.executeStatements("DROP TABLE t_get_func_main"));
  // Skipped rows never touch the database, so the missing table is no matter.
  EXPECT_TRUE(M::mainFuncTableDataMigrationWithDic({{"smart_device_id", ""}, {"heartRate", 1}}, &db_));
  EXPECT_EQ(db_.failedStatementCount(), 0);
  EXPECT_EQ(lastOutcome(), "skipped:no_device_key");
  // A keyed row reaches the INSERT, which fails with SQLite's message; the
  // mark keeps the first failure of the table (the exists query) as well.
  db_.markErrors();
  veqBeginRow(nullptr);
  EXPECT_FALSE(M::mainFuncTableDataMigrationWithDic({{"smart_device_id", "AA:01"}}, &db_));
  EXPECT_EQ(M::lastRowReport().outcome, VEQRowOutcome::kWriteFailed);
  EXPECT_EQ(M::lastRowReport().message, "no such table: t_get_func_main");
  EXPECT_EQ(db_.failedSinceMark(), 2);
  EXPECT_EQ(db_.firstErrorSinceMark(), "no such table: t_get_func_main");
  ASSERT_TRUE(db_.executeStatements("SELECT 1"));
  EXPECT_EQ(db_.firstErrorSinceMark(), "no such table: t_get_func_main");
}

TEST_F(FuncTables, Main1TrustsOnlyPositivePkAndLeavesMigrationStateAlone) {
  const char* table = "t_get_func_main1";
  EXPECT_TRUE(M::main1FuncTableDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"login_in", 1}}, &db_));
  EXPECT_TRUE(M::main1FuncTableDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"WatchDial", 1}}, &db_));
  EXPECT_EQ(count(table), 1);
  VEQDict rec = record(table, "AA:01");
  EXPECT_EQ(rec.integerForKey("migration_state"), 0);
  EXPECT_EQ(rec.integerForKey("watch_dial"), 1);

  // A record with pk 0 is not updated: a new one is inserted beside it.
  ASSERT_TRUE(db_.executeUpdate("INSERT INTO t_get_func_main1 (pk, mac_addr) VALUES (0, 'AA:00')"));
  EXPECT_TRUE(M::main1FuncTableDataMigrationWithDic({{"smart_device_id", "AA:00"}, {"shortcut", 1}}, &db_));
  EXPECT_EQ(count(table, "AA:00"), 2);
  EXPECT_EQ(record(table, "AA:00").integerForKey("shortcut"), 0);

  // The other members update whatever record the lookup finds, pk 0 included.
  ASSERT_TRUE(db_.executeUpdate("INSERT INTO t_get_func_call (pk, mac_addr) VALUES (0, 'AA:00')"));
  EXPECT_TRUE(M::callFuncTableDataMigrationWithDic({{"smart_device_id", "AA:00"}, {"calling", 1}}, &db_));
  EXPECT_EQ(count("t_get_func_call", "AA:00"), 1);
  EXPECT_EQ(record("t_get_func_call", "AA:00").integerForKey("calling"), 1);
}

// Each member's legacy columns and the property that must receive each one,
// written independently of the conversions: "column" when the property has
// the same name, "column:property" otherwise.
struct Member {
  M::SettingsRoutine routine;
  std::string table;
  std::string columns;
};

const Member kMembers[] = {
    {&M::lang1FuncTableDataMigrationWithDic, "t_get_func_lang_extend",
     "romanian lithuanian dutch slovenian hungarian polish russian ukrainian"},
    {&M::langFuncTableDataMigrationWithDic, "t_get_func_lang", "ch eng french german italian spanish japanese czech"},
    {&M::exFuncTableDataMigrationWithDic, "t_get_func_extend",
     "gps sleep_period:sleepPeriod screen_brightness:screenBrightness"},
    {&M::main1FuncTableDataMigrationWithDic, "t_get_func_main1",
     "login_in:logIn hidPhoto WatchDial:watchDial shortcut unitSet BloodPressure:bloodPressure wechatSport "
     "fineTimeControl"},
    {&M::type3FuncTableDataMigrationWithDic, "t_get_func_other_sport_type3",
     "golf baseball skiing roller_skating:rollerSkating dance"},
    {&M::type2FuncTableDataMigrationWithDic, "t_get_func_other_sport_type2",
     "bodybuilding_exercise:bodybuildingExercise yoga rope_skipping:ropeSkipping table_tennis:tableTennis "
     "basketball footballl:football volleyball tennis"},
    {&M::type1FuncTableDataMigrationWithDic, "t_get_func_other_sport_type1",
     "fitness spinning ellipsoid treadmill sit_up:sitUp push_up:pushUp dumbbell weightlifting"},
    {&M::type0FuncTableDataMigrationWithDic, "t_get_func_other_sport_type0",
     "walk run by_bike:byBike on_foot:onFoot swim mountain_climbing:mountainClimbing badminton other"},
    {&M::other2FuncTableDataMigrationWithDic, "t_get_func_other_extend",
     "staticHR:staticHr doNotDisturb displayMode heartRateMonitor bilateral_antiLost:bilateralAntiLost "
     "all_app_notice:allAppNotice flip_screen:flipScreen noShowHRInterval:noShowHrInterval"},
    {&M::alarmFuncTableDataMigrationWithDic, "t_get_func_alarm",
     "wakeUp sleep sport medicine dating party metting custom"},
    {&M::smsFuncTableDataMigrationWithDic, "t_get_func_sms", "tipInfoContact tipInfoNum tipInfoContent"},
    {&M::otherFuncTableDataMigrationWithDic, "t_get_func_other",
     "sedentariness antilost onetouchCalling findPhone findDevice configDefault upHandGesture weather"},
    {&M::noifty2FuncTableDataMigrationWithDic, "t_get_func_notify2",
     "VKontakte:vkontakte Line:line Viber:viber KakaoTalk:kakaoTalk Gmail:gmail Outlook:outlook Snapchat:snapchat"},
    {&M::noifty1FuncTableDataMigrationWithDic, "t_get_func_notify1",
     "whatsapp messengre instagram linked_in:linkedIn calendar skype alarm_clock:alarmClock"},
    {&M::noiftyFuncTableDataMigrationWithDic, "t_get_func_notify0",
     "message email qq weixin sinaWeibo facebook twitter"},
    {&M::callFuncTableDataMigrationWithDic, "t_get_func_call", "calling callingContact callingNum"},
    {&M::controlFuncTableDataMigrationWithDic, "t_get_func_control",
     "takePhoto music HIDPhoto:hidPhoto FiveHRInterval:fiveHrInterval BindAuth:bindAuth fastSync exFuncTable "
     "BindCodeAuth:bindCodeAuth"},
    {&M::mainFuncTableDataMigrationWithDic, "t_get_func_main",
     "stepCalculation sleepMonitor singleSport realtimeData deviceUpdate heartRate Ancs:ancs time_line:timeLine"},
    {&M::funcTableDataMigrationWithDic, "t_get_func_table",
     "alarm_count:alarmCount sport_show_num:sportShowCount"},
};

// "a b:c" → {{"a", "a"}, {"b", "c"}}.
std::vector<std::pair<std::string, std::string>> pairsOf(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    size_t colon = word.find(':');
    pairs.emplace_back(word.substr(0, colon), colon == std::string::npos ? word : word.substr(colon + 1));
  }
  return pairs;
}

TEST_F(FuncTables, EveryLegacyColumnLandsInItsOwnProperty) {
  for (const Member& m : kMembers) {
    const auto pairs = pairsOf(m.columns);
    for (const auto& [setColumn, setProperty] : pairs) {
      SCOPED_TRACE(m.table + " <- " + setColumn);
      // Only one column is present; every other one must read as NO / 0, also
      // when the row updates the device's record.
      ASSERT_TRUE(m.routine({{"smart_device_id", "AA:01"}, {setColumn, 1}}, &db_));
      VEQDict rec = record(m.table, "AA:01");
      for (const auto& [column, property] : pairs) {
        EXPECT_EQ(rec.integerForKey(veqColumnNameForProperty(property)), column == setColumn ? 1 : 0) << property;
      }
    }
    EXPECT_EQ(count(m.table), 1) << m.table;
  }
}

}  // namespace
}  // namespace veq
