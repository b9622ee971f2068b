// Device settings conversions on a real database with the new schema: the
// one-record settings column by column, the packed bit fields, the device
// and user records, and descriptions that name something wrongly.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "collaborators/user_defaults.h"
#include "migration/pro_db_manager.h"
#include "migration/settings/bit_fields.h"
#include "migration/settings/settings_description.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

class Settings : public SessionTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db_.open());
    std::string err;
    ASSERT_TRUE(veqInstallSchema(&db_, &err)) << err;
  }
  int64_t count(const std::string& table) { return queryInt(&db_, "SELECT COUNT(*) FROM " + table); }
  // The newest record of the table (for the given device, when named).
  VEQDict record(const std::string& table, const std::string& mac = "") {
    auto rs = mac.empty() ? db_.executeQuery("SELECT * FROM " + table + " ORDER BY pk DESC")
                          : db_.executeQuery("SELECT * FROM " + table + " WHERE mac_addr = ? ORDER BY pk DESC", {mac});
    return rs && rs->next() ? rs->resultDictionary() : VEQDict();
  }

  VEQFMDatabase db_{":memory:"};
};

// Each member's legacy columns and the property each must reach, written from
// the legacy column lists: "column:property/conversion" (property omitted
// when equal to the column; conversion one of +1, x20, not, 12h).
struct Member {
  M::SettingsRoutine routine;
  std::string table;
  std::string columns;
};

const Member kMembers[] = {
    {&M::liveDataMigrationWithDic, "t_set_live_data",
     "step calories distances active_time:activeTime heart_rate:heartRate"},
    {&M::lostFindDataMigrationWithDic, "t_set_prevent_lost", "lost_type:levelType"},
    {&M::screenLightDataMigrationWithDic, "t_set_screen_brightness", "level:levelValue/x20"},
    {&M::unitDataMigrationWithDic, "t_set_unit",
     "dist_uint:distanceUnit/+1 weight_uint:weightUnit/+1 temp:tempUnit/+1 stride:strideWalk stride_run:strideRun "
     "language:languageUnit/+1 is_12hour_format:timeUnit/12h"},
    {&M::handGestureDataMigrationWithDic, "t_set_hand_up",
     "isOpen hasTimeRange:isHasTimeRange showSecond start_hour:startHour start_minute:startMinute end_hour:endHour "
     "end_minute:endMinute"},
    {&M::findPhoneDataMigrationWithDic, "t_set_find_phone", "is_open:isOpen"},
    {&M::openMusicDataMigrationWithDic, "t_set_music_open", "isOn:isOpen"},
    {&M::doNotDisturbDataMigrationWithDic, "t_set_no_disturb_mode",
     "switch_flag:isOpen start_hour:startHour start_minute:startMinute end_hour:endHour end_minute:endMinute"},
    {&M::hrIntervalDataMigrationWithDic, "t_set_hr_interval",
     "burn_fat_threshold:burnFat aerobic_threshold:aerobic limit_threshold:limitValue user_max_hr:userMaxHr"},
    {&M::leftOrRightDataMigrationWithDic, "t_set_left_or_right_hand", "is_left_hand:isRight/not"},
    {&M::hrModelDataMigrationWithDic, "t_set_hr_mode",
     "mode:modeType/+1 hasTimeRange:isHasTimeRange start_hour:startHour start_minute:startMinute end_hour:endHour "
     "end_minute:endMinute"},
    {&M::dispalyModeDataMigrationWithDic, "t_set_display_mode", "display_mode:modeType"},
    {&M::oneKeySOSDataMigrationWithDic, "t_set_one_key_sos", "is_open:isOpen"},
    {&M::sportShortcutDataMigrationWithDic, "t_set_sport_shortcut",
     "type1_walk:isWalk type1_run:isRun type1_by_bike:isByBike type1_on_foot:isOnFoot type1_swim:isSwim "
     "type1_mountain_climbing:isMountainClimbing type1_badminton:isBadminton type1_other:isOther "
     "type2_fitness:isFitness type2_spinning:isSpinning type2_ellipsoid:isEllipsoid type2_treadmill:isTreadmill "
     "type2_sit_up:isSitUp type2_push_up:isPushUp type2_dumbbell:isDumbbell type2_weightlifting:isWeightlifting "
     "type3_bodybuilding_exercise:isBodybuildingExercise type3_yoga:isYoga type3_rope_skipping:isRopeSkipping "
     "type3_table_tennis:isTableTennis type3_basketball:isBasketball type3_footballl:isFootball "
     "type3_volleyball:isVolleyball type3_tennis:isTennis type4_golf:isGolf type4_baseball:isBaseball "
     "type4_skiing:isSkiing type4_roller_skating:isRollerSkating type4_dance:isDance"},
    {&M::weatherSwitchDataMigrationWithDic, "t_set_weatcher_switch", "is_open:isOpen"},
    {&M::shortcurtDataMigrationWithDic, "t_set_shortcut", "type:shortcutType"},
    {&M::watchDialDataMigrationWithDic, "t_set_watch_dia", "type:dialId"},
    {&M::menstruationDataMigrationWithDic, "t_set_menstruation_info",
     "menstrualLength menstrualCycle lastMenstrualYear lastMenstrualMonth lastMenstrualDay ovulationIntervalDay "
     "ovulationBeforeDay ovulationAfterDay"},
    {&M::menstruationRemindDataMigrationWithDic, "t_set_menstruation_remind_info", "startDay ovulationDay hour minute"},
};

struct Expectation {
  std::string column, property, conversion;
};

std::vector<Expectation> expectationsOf(const std::string& text) {
  std::vector<Expectation> list;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const size_t slash = word.find('/');
    const std::string conversion = slash == std::string::npos ? "" : word.substr(slash + 1);
    word = word.substr(0, slash);
    const size_t colon = word.find(':');
    list.push_back({word.substr(0, colon), colon == std::string::npos ? word : word.substr(colon + 1), conversion});
  }
  return list;
}

// What a legacy value `v` becomes, by the conversion and the stored kind.
int64_t converted(int64_t v, const std::string& conversion, bool flag) {
  if (conversion == "+1") return v + 1;
  if (conversion == "x20") return v * 20;
  if (conversion == "not") return v == 0 ? 1 : 0;
  if (conversion == "12h") return v != 0 ? 1 : 2;
  return flag ? (v != 0 ? 1 : 0) : v;
}

TEST_F(Settings, EveryLegacyColumnReachesItsPropertyConverted) {
  for (const Member& m : kMembers) {
    const VEQModelSchema* schema = nullptr;
    for (const VEQModelSchema* s : veqAllModelSchemas()) schema = s->tableName == m.table ? s : schema;
    ASSERT_NE(schema, nullptr) << m.table;
    const auto expectations = expectationsOf(m.columns);
    for (const Expectation& set : expectations) {
      SCOPED_TRACE(m.table + " <- " + set.column);
      // Only one column is present, with a value that no flag or neighbour
      // could produce; every other column reads as absent.
      ASSERT_TRUE(m.routine({{"smart_device_id", "AA:01"}, {set.column, 3}}, &db_));
      const VEQDict rec = record(m.table);
      EXPECT_EQ(rec.integerForKey("migration_state"), 1);
      for (const Expectation& e : expectations) {
        const bool flag = schema->properties[schema->indexOf(e.property)].kind == VEQPropertyKind::Bool;
        EXPECT_EQ(rec.integerForKey(veqColumnNameForProperty(e.property)),
                  converted(e.column == set.column ? 3 : 0, e.conversion, flag))
            << e.property;
      }
    }
  }
  // Any set 12-hour flag, also a negative one, is the 12-hour format.
  ASSERT_TRUE(M::unitDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"is_12hour_format", -1}}, &db_));
  EXPECT_EQ(record("t_set_unit").integerForKey("time_unit"), 1);
  // One record per device; a keyless row is skipped without a write.
  EXPECT_EQ(count("t_set_sport_shortcut"), 1);
  EXPECT_TRUE(M::findPhoneDataMigrationWithDic({{"is_open", 1}}, &db_));
  EXPECT_EQ(lastOutcome(), "skipped:no_device_key");
}

// Inserted anew on every run (the tool's end-to-end test runs twice), yet a
// row without a device is still skipped.
TEST_F(Settings, MenstrualRecordsCarryNoDeviceButNeedOne) {
  ASSERT_TRUE(M::menstruationRemindDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"hour", 8}}, &db_));
  EXPECT_EQ(lastOutcome(), "inserted");
  EXPECT_EQ(record("t_set_menstruation_remind_info").stringForKey("mac_addr"), "");
  EXPECT_TRUE(M::menstruationDataMigrationWithDic({{"menstrualCycle", 28}}, &db_));
  EXPECT_EQ(lastOutcome(), "skipped:no_device_key");
}

TEST_F(Settings, AlarmsAreKeyedOnAlarmIdAndDeviceAndOnWhenAnyDayRepeats) {
  // repeat 5 = 00000101: stored least significant day first.
  ASSERT_TRUE(M::alarmDataMigrationWithDic(
      {{"smart_device_id", "AA:01"}, {"alarm_id", 1}, {"repeat", 5}, {"is_synchronize", 1}, {"hour", 7}}, &db_));
  ASSERT_TRUE(M::alarmDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"alarm_id", 2}, {"repeat", 0}}, &db_));
  ASSERT_TRUE(M::alarmDataMigrationWithDic({{"smart_device_id", "AA:02"}, {"alarm_id", 1}, {"repeat", 64}}, &db_));
  EXPECT_EQ(count("t_set_alarm"), 3);
  auto alarm = [&](const char* mac, int id) {
    auto rs = db_.executeQuery("SELECT * FROM t_set_alarm WHERE mac_addr = ? AND alarm_id = ?", {mac, id});
    return rs && rs->next() ? rs->resultDictionary() : VEQDict();
  };
  EXPECT_EQ(alarm("AA:01", 1).stringForKey("repeat"), "[1,0,1,0,0,0,0,0]");
  EXPECT_EQ(alarm("AA:01", 1).integerForKey("is_open"), 1);
  EXPECT_EQ(alarm("AA:01", 1).integerForKey("is_sync"), 1);
  EXPECT_EQ(alarm("AA:01", 2).integerForKey("is_open"), 0);
  EXPECT_EQ(alarm("AA:02", 1).integerForKey("is_open"), 1);

  // The same alarm of the same device again updates it in place.
  ASSERT_TRUE(M::alarmDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"alarm_id", 1}, {"hour", 9}}, &db_));
  EXPECT_EQ(lastOutcome(), "updated");
  EXPECT_EQ(count("t_set_alarm"), 3);
  EXPECT_EQ(alarm("AA:01", 1).integerForKey("hour"), 9);
  EXPECT_EQ(alarm("AA:01", 1).integerForKey("is_open"), 0);
}

TEST_F(Settings, LongSitTakesTheSwitchFromTheLowestDigitAndWeekdaysFromTheNextSeven) {
  // 131 = 10000011: on, weekdays from bit 1 up.
  ASSERT_TRUE(M::longSitDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"repetitions", 131}}, &db_));
  EXPECT_EQ(record("t_set_long_sit").stringForKey("select_weeks"), "[1,0,0,0,0,0,1]");
  EXPECT_EQ(record("t_set_long_sit").integerForKey("is_open"), 1);
  // 258 = 100000010 (nine digits): off; the ninth digit is ignored.
  ASSERT_TRUE(M::longSitDataMigrationWithDic({{"smart_device_id", "AA:02"}, {"repetitions", 258}}, &db_));
  EXPECT_EQ(record("t_set_long_sit", "AA:02").stringForKey("select_weeks"), "[1,0,0,0,0,0,0]");
  EXPECT_EQ(record("t_set_long_sit", "AA:02").integerForKey("is_open"), 0);

  // Arrays shorter than eight digits carry no weekdays, and an empty one no
  // switch either.
  const VEQLongSitSwitches shortMask = veqLongSitSwitches({1, 1, 1, 1, 1, 1, 1});
  EXPECT_TRUE(shortMask.isOpen);
  EXPECT_EQ(shortMask.weeks, VEQArray(7, VEQValue(0)));
  EXPECT_FALSE(veqLongSitSwitches({}).isOpen);
}

TEST_F(Settings, NoticeSwitchesAndSourcesComeFromTheirPositions) {
  const std::vector<std::pair<int, std::string>> modes = {{85, "10"}, {136, "01"}, {0, "00"}};
  for (const auto& [notifySwitch, pairingChild] : modes) {
    ASSERT_TRUE(M::noticeDataMigrationWithDic({{"smart_device_id", "AA:01"}, {"notify_switch", notifySwitch},
                                               {"call_switch", notifySwitch}, {"call_delay", 4}}, &db_));
    const VEQDict rec = record("t_set_notice_info");
    EXPECT_EQ(rec.stringForKey("is_pairing") + rec.stringForKey("is_on_child"), pairingChild) << notifySwitch;
    EXPECT_EQ(rec.integerForKey("is_on_call"), notifySwitch == 85 ? 1 : 0);
    EXPECT_EQ(rec.integerForKey("call_delay"), 4);
  }
  // Positions count from the most significant of eight digits, so the
  // value 1 << (7 - p) sets position p alone. The sources of each column,
  // from position 7 down to 0 ("-": not used):
  const std::vector<std::pair<std::string, std::string>> sources = {
      {"notify_itme1", "- isOnSms isOnEmail isOnWeChat isOnQq isOnWeibo isOnFaceBook isOnTwitter"},
      {"notify_itme2", "isOnWhatsapp isOnMessenger isOnInstagram isOnLinkedIn isOnCalendar isOnSkype isOnAlarm "
                       "isOnPokeman"},
      {"notify_itme3", "isOnVkontakte isOnLine isOnViber isOnKakaoTalk isOnGmail isOnOutlook isOnSnapchat "
                       "isOnTelegram"}};
  for (const auto& [column, names] : sources) {
    std::istringstream byPosition(names);
    int position = 7;
    for (std::string property; byPosition >> property; --position) {
      ASSERT_TRUE(M::noticeDataMigrationWithDic({{"smart_device_id", "AA:01"}, {column, 1 << (7 - position)}}, &db_));
      const VEQDict rec = record("t_set_notice_info");
      std::string on;
      for (size_t i = 0; i < rec.size(); ++i) {
        const std::string& name = rec.keyAt(i);
        if (name.rfind("is_on_", 0) == 0 && name != "is_on_child" && rec.valueAt(i).integerValue() == 1) on += name;
      }
      EXPECT_EQ(on, property == "-" ? "" : veqColumnNameForProperty(property)) << column << " position " << position;
    }
  }

  // A short array sets the positions it has and leaves the rest off.
  VEQSetNoticeInfoBuletoothModel model;
  model.setBool("isOnSms", true);
  veqSetSwitchesFromBits(model, {1, 1, 1},
                         {"isOnTwitter", "isOnFaceBook", "isOnWeibo", "isOnQq", "isOnWeChat", "isOnEmail", "isOnSms",
                          ""});
  EXPECT_EQ(model.value("isOnWeibo"), VEQValue(true));
  EXPECT_EQ(model.value("isOnQq"), VEQValue(false));
  EXPECT_EQ(model.value("isOnSms"), VEQValue(false));
}

TEST_F(Settings, TheDeviceMatchingTheDefaultsTakesTheBindingOverOnce) {
  VEQUserDefaults& defaults = fresh_.session().userDefaults();
  defaults.setObject("lanya", "uuid-1");
  defaults.setObject("wareMacString", "AA:0A");
  defaults.setObject("BLE_NAME", "Band");
  defaults.setObject("BINDINGED", true);
  const VEQDict row{{"mac_address", "AA:0A"}, {"device_pk_id", "pk-1"}, {"device_id", "0042"}, {"model", "3"}};

  // Another letter case is another device: no take-over.
  VEQDict lower = row;
  lower.set("mac_address", "aa:0a");
  ASSERT_TRUE(M::deviceInfoDataMigrationWithDic(lower, &db_));
  EXPECT_EQ(record("t_get_device_info", "aa:0a").stringForKey("uuid_str"), "pk-1");
  EXPECT_EQ(defaults.dictionaryRepresentation().size(), 4u);

  ASSERT_TRUE(M::deviceInfoDataMigrationWithDic(row, &db_));
  VEQDict rec = record("t_get_device_info", "AA:0A");
  EXPECT_EQ(rec.stringForKey("uuid_str") + " " + rec.stringForKey("device_name"), "uuid-1 Band");
  EXPECT_EQ(rec.integerForKey("bind_state"), 1);
  EXPECT_EQ(rec["device_id"], VEQValue("0042"));  // kept as stored, not as a number
  EXPECT_EQ(rec.integerForKey("mode"), 3);
  EXPECT_TRUE(defaults.dictionaryRepresentation().empty());

  // A second row of the device finds nothing to take over.
  ASSERT_TRUE(M::deviceInfoDataMigrationWithDic(row, &db_));
  EXPECT_EQ(lastOutcome(), "updated");
  rec = record("t_get_device_info", "AA:0A");
  EXPECT_EQ(rec.stringForKey("uuid_str") + " " + rec.stringForKey("bind_state"), "pk-1 0");
  EXPECT_EQ(count("t_get_device_info"), 2);

  // The defaults go before the write, even when the write fails.
  defaults.setObject("wareMacString", "AA:0B");
  ASSERT_TRUE(db_.executeStatements("DROP TABLE t_get_device_info"));
  EXPECT_FALSE(M::deviceInfoDataMigrationWithDic({{"mac_address", "AA:0B"}}, &db_));
  EXPECT_TRUE(defaults.dictionaryRepresentation().empty());
  EXPECT_TRUE(M::deviceInfoDataMigrationWithDic({{"mac_address", ""}}, &db_));
  EXPECT_EQ(lastOutcome(), "skipped:no_device_key");
}

TEST_F(Settings, UserInfoFindsItsDeviceThroughTheRegistry) {
  fresh_.session().manager().setIosUserDevices({{{"user_id", "7"}, {"smart_device_id", "AA:07"}, {"band_status", 1}},
                                                 {{"user_id", "8"}, {"smart_device_id", ""}}});
  ASSERT_TRUE(M::userInfoDataMigrationWithDic({{"user_id", "7"}, {"gender", 0}, {"goal_sport_data", 8000}}, &db_));
  const VEQDict rec = record("t_set_user_info", "AA:07");
  EXPECT_EQ(rec.integerForKey("gender"), 1);
  EXPECT_EQ(rec.integerForKey("goal_step_data"), 8000);
  EXPECT_EQ(rec.stringForKey("uuid_str"), "AA:07");
  EXPECT_EQ(rec.stringForKey("user_id"), "7");
  EXPECT_EQ(rec.integerForKey("bind_state"), 1);

  const std::vector<std::pair<VEQDict, std::string>> skipped = {
      {{{"user_id", "8"}}, "skipped:unknown_device"},
      {{{"user_id", "9"}}, "skipped:unknown_device"},
      {{{"smart_device_id", "AA:07"}}, "skipped:no_user_id"}};
  for (const auto& [row, expected] : skipped) {
    EXPECT_TRUE(M::userInfoDataMigrationWithDic(row, &db_));
    EXPECT_EQ(lastOutcome(), expected);
  }
  EXPECT_EQ(count("t_set_user_info"), 1);
}

TEST_F(Settings, DescriptionsNamingSomethingWronglyFailAtFirstUse) {
  const VEQDict row{{"smart_device_id", "AA:01"}};
  const VEQSettingsDescription wrong[] = {
      {"VEQSetUnitInfoModel", {}},
      {"VEQSetUnitInfoBluetoothModel", {{"temp", "temperatureUnit"}}},
      {"VEQSetLeftOrRightInfoBuletoothModel", {{"is_left_hand", "isRight", VEQConversion::PlusOne}}},
      {"VEQSetUnitInfoBluetoothModel", {{"temp", "tempUnit", VEQConversion::Negated}}},
      {"VEQSetLongSitInfoBuletoothModel", {{"repetitions", "selectWeeks"}}},
  };
  for (const VEQSettingsDescription& d : wrong) {
    EXPECT_THROW(veqMigrateSettingsRow(d, row, &db_), std::logic_error) << d.modelClass;
  }
  EXPECT_EQ(count("t_set_unit"), 0);
}

}  // namespace
}  // namespace veq
