// Android health tables of both Android stores, migrated through the health
// driver between real temporary SQLite databases.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "migration/pro_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

using Row = std::vector<std::string>;

// 2024-03-15 in UTC: its day stamp, and legacy milliseconds of its midnight.
const std::string kDay = "1710460800";
const std::string kDateMs = "1710460800000";
const std::string kNextDateMs = "1710547200000";
const std::string kMac7 = "AABBCCDDEE07";    // D_ID 7 of the Android store
const std::string kCloud7 = "CCCCCCCCCC07";  // D_ID 7 of the cloud store

const char* const kLegacySchema =
    "CREATE TABLE HEALTH_HEART_RATE (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, YEAR INTEGER,"
    " MONTH INTEGER, DAY INTEGER, START_TIME INTEGER, SILENT_HEART INTEGER, BURN_FAT_THRESHOLD INTEGER,"
    " AEROBIC_THRESHOLD INTEGER, LIMIT_THRESHOLD INTEGER, BURN_FAT_MINS INTEGER, AEROBIC_MINS INTEGER,"
    " LIMIT_MINS INTEGER, USER_MAX_HR INTEGER);"
    "CREATE TABLE HEALTH_HEART_RATE_ITEM (smart_device_id TEXT, DATE INTEGER, RATE_DATA_ID INTEGER,"
    " OFFSET_MINUTE INTEGER, HEART_RAVE_VALUE INTEGER);"
    "CREATE TABLE HEALTH_SLEEP (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, YEAR INTEGER, MONTH INTEGER,"
    " DAY INTEGER, SLEEP_ENDED_TIME_H INTEGER, SLEEP_ENDED_TIME_M INTEGER, TOTAL_SLEEP_MINUTES INTEGER,"
    " LIGHT_SLEEP_COUNT INTEGER, DEEP_SLEEP_COUNT INTEGER, AWAKE_COUNT INTEGER, LIGHT_SLEEP_MINUTES INTEGER,"
    " DEEP_SLEEP_MINUTES INTEGER);"
    "CREATE TABLE HEALTH_SLEEP_ITEM (DATE INTEGER, SLEEP_DATA_ID INTEGER, serial_number INTEGER,"
    " SLEEP_STATUS INTEGER, OFFSET_MINUTE INTEGER);"
    "CREATE TABLE HEALTH_SPORT (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, YEAR INTEGER, MONTH INTEGER,"
    " DAY INTEGER, items_count INTEGER, TOTAL_STEP_COUNT INTEGER, TOTAL_CALORY INTEGER, TOTAL_DISTANCE INTEGER,"
    " TOTAL_ACTIVE_TIME INTEGER, START_TIME INTEGER, TIME_SPACE INTEGER);"
    "CREATE TABLE HEALTH_SPORT_ITEM (smart_device_id TEXT, DATE INTEGER, SPORT_DATA_ID, serial_number INTEGER,"
    " MODE INTEGER, STEP_COUNT INTEGER, ACTIVE_TIME INTEGER, CALORY INTEGER, DISTANCE INTEGER);"
    "CREATE TABLE HEALTH_BLOOD_PRESSED (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, YEAR INTEGER,"
    " MONTH INTEGER, DAY INTEGER, MAX_BP INTEGER, SLEEP_AVG_BP INTEGER, MINUTE_OFFSET INTEGER);"
    "CREATE TABLE HEALTH_BLOOD_PRESSED_ITEM (BLOOD_PRESSED_DATA_ITEM_ID INTEGER, DATE INTEGER, SYS_BLOOD INTEGER,"
    " DIAS_BLOOD INTEGER, OFFSET INTEGER);"
    "CREATE TABLE ADDWEIGHTDADA (date INTEGER, weightValue, lastWeightValue, weightUnit);"
    "CREATE TABLE ACTIVITY_DATA (DATE INTEGER, D_ID INTEGER, ACTIVITY_DATA TEXT);"
    "CREATE TABLE HEALTH_GPS (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, DATA_INTERVAL INTEGER);"
    "CREATE TABLE HEALTH_GPS_ITEM (smart_device_id TEXT, D_ID INTEGER, DATE INTEGER, LATITUDE REAL,"
    " LONGITUDE REAL);";

class VEQAndroidHealthTest : public SessionTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
    VEQSDKUtility::setFixedNow(1717243200);  // 2024-06-01T12:00:00Z
    for (auto [store, name] : {std::pair{&android_, "android.db"}, {&cloud_, "cloud.db"}, {&other_, "other.db"}}) {
      *store = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / name);
      ASSERT_TRUE((*store)->database()->executeStatements(kLegacySchema));
    }
    target_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "new.db");
    std::string error;
    ASSERT_TRUE(veqInstallSchema(target_->database().get(), &error)) << error;

    VEQProDBManager& m = fresh_.session().manager();
    m.setAndroidUserDevices({{{"D_ID", 7}, {"MAC_ADDRESS", "AA:BB:CC:DD:EE:07"}},
                             {{"D_ID", 8}, {"MAC_ADDRESS", "AA:BB:CC:DD:EE:08"}},
                             {{"D_ID", 9}, {"MAC_ADDRESS", ":::"}}});
    m.setAndroidCloudUserDevices({{{"D_ID", 7}, {"MAC_ADDRESS", "CC:CC:CC:CC:CC:07"}}});
    fresh_.session().legacyReader().setAndroidQueue(android_.get());
    fresh_.session().legacyReader().setAndroidCloudQueue(cloud_.get());
  }

  void legacy(const std::string& sql, VEQFMDatabaseQueue* store = nullptr) {
    VEQFMDatabase* db = (store ? store : android_.get())->database().get();
    ASSERT_TRUE(db->executeStatements(sql)) << db->lastErrorMessage();
  }

  // Runs the health driver on one table of `store` (default: the Android
  // store); every row must report YES. Returns the rows' outcomes
  // ("inserted ", "skipped:no_date " …).
  std::string migrate(const std::string& table, VEQFMDatabaseQueue* store = nullptr) {
    std::string outcomes;
    VEQProDBManager::androidDataMigrationWithTableName(
        table, target_.get(), store ? store : android_.get(), [&](const std::string&, VEQFMDatabase*, bool ok) {
          EXPECT_TRUE(ok);
          outcomes += lastOutcome() + " ";
        });
    return outcomes;
  }

  std::vector<Row> records(const std::string& table) { return recordTexts(target_->database().get(), table); }
  Row column(const std::string& table, size_t index) { return recordColumn(target_->database().get(), table, index); }

  ScratchDir dir_;
  std::shared_ptr<VEQFMDatabaseQueue> android_, cloud_, other_, target_;
};

// ---- Device resolution --------------------------------------------------------

TEST_F(VEQAndroidHealthTest, DevicesResolveThroughEachStoresOwnRegistry) {
  const std::string rows = "INSERT INTO HEALTH_SLEEP (smart_device_id, D_ID, DATE, YEAR, MONTH, DAY) VALUES"
                           " (NULL, 7, " + kDateMs + ", 2024, 3, 15), ('', 8, " + kDateMs + ", 2024, 3, 15);";
  legacy(rows);
  legacy(rows, cloud_.get());
  legacy(rows, other_.get());
  EXPECT_EQ(migrate("HEALTH_SLEEP"), "inserted inserted ");
  // D_ID 8 is known to the Android registry only; an unknown store has none.
  EXPECT_EQ(migrate("HEALTH_SLEEP", cloud_.get()), "inserted skipped:unknown_device ");
  EXPECT_EQ(migrate("HEALTH_SLEEP", other_.get()), "skipped:unknown_device skipped:unknown_device ");
  EXPECT_EQ(column("health_sleep", 0), (Row{kMac7, "AABBCCDDEE08", kCloud7}));

  // Day rows prefer their own key; item rows never read it.
  legacy("INSERT INTO HEALTH_SPORT (smart_device_id, D_ID, DATE, YEAR, MONTH, DAY) VALUES"
         " ('AA:BB:CC:DD:EE:FF', 5, " + kDateMs + ", 2024, 3, 15), (NULL, 5, " + kDateMs + ", 2024, 3, 15);"
         "INSERT INTO HEALTH_SPORT_ITEM (smart_device_id, DATE, SPORT_DATA_ID) VALUES"
         " ('AA:BB:CC:DD:EE:FF', " + kDateMs + ", 5), (NULL, " + kDateMs + ", '7x');");
  EXPECT_EQ(migrate("HEALTH_SPORT"), "inserted skipped:unknown_device ");
  EXPECT_EQ(column("health_sport", 0), (Row{"AA:BB:CC:DD:EE:FF"}));
  // The id "7x" is looked up by its integer value, 7.
  EXPECT_EQ(migrate("HEALTH_SPORT_ITEM"), "skipped:unknown_device inserted ");
  EXPECT_EQ(column("health_sport_item", 0), (Row{kMac7}));

  // Only the heart-rate day tests the address before removing separators.
  const std::string day = " (9, " + kDateMs + ", 2024, 3, 15);";
  legacy("INSERT INTO HEALTH_HEART_RATE (D_ID, DATE, YEAR, MONTH, DAY) VALUES" + day +
         "INSERT INTO HEALTH_BLOOD_PRESSED (D_ID, DATE, YEAR, MONTH, DAY) VALUES" + day);
  EXPECT_EQ(migrate("HEALTH_HEART_RATE"), "inserted ");
  EXPECT_EQ(column("health_heart_rate", 0), (Row{""}));
  EXPECT_EQ(migrate("HEALTH_BLOOD_PRESSED"), "skipped:unknown_device ");
}

// ---- Record values ----------------------------------------------------------------

TEST_F(VEQAndroidHealthTest, DayRecordsHoldTheirValuesInOrderWithLegacyItemCounts) {
  // Three items of D_ID 7 on the day, one of D_ID 8, one of the next day: a
  // row keyed by the registry counts its device's, one keyed by its own
  // "smart_device_id" counts the day's items of every device.
  const std::string items = " VALUES (" + kDateMs + ", 7), (" + kDateMs + ", 7), (" + kDateMs + ", 7), (" + kDateMs +
                            ", 8), (" + kNextDateMs + ", 7);";
  legacy("INSERT INTO HEALTH_HEART_RATE VALUES (NULL, 7, " + kDateMs +
         ", 2024, 3, 15, 480, 58, 110, 130, 160, 30, 20, 5, 190),"
         " ('AA:01', 7, " + kDateMs + ", 2024, 3, 15, 1, 2, 3, 4, 5, 6, 7, 8, 9);"
         "INSERT INTO HEALTH_HEART_RATE_ITEM (DATE, RATE_DATA_ID)" + items +
         // Sleep ended 07:30 after 480 minutes: it began 30 minutes before midnight.
         "INSERT INTO HEALTH_SLEEP VALUES (NULL, 7, " + kDateMs + ", 2024, 3, 15, 7, 30, 480, 4, 3, 2, 300, 200);"
         "INSERT INTO HEALTH_SLEEP_ITEM (DATE, SLEEP_DATA_ID)" + items +
         "INSERT INTO HEALTH_SPORT VALUES (NULL, 7, " + kDateMs + ", 2024, 3, 15, 96, 8000, 320, 5400, 75, 15, 15);"
         "INSERT INTO HEALTH_SPORT_ITEM (DATE, SPORT_DATA_ID)" + items +
         "INSERT INTO HEALTH_BLOOD_PRESSED VALUES (NULL, 7, " + kDateMs + ", 2024, 3, 15, 135, 82, 420);"
         "INSERT INTO HEALTH_BLOOD_PRESSED_ITEM (DATE, BLOOD_PRESSED_DATA_ITEM_ID)" + items);
  for (const char* table : {"HEALTH_HEART_RATE", "HEALTH_SLEEP", "HEALTH_SPORT", "HEALTH_BLOOD_PRESSED"})
    migrate(table);

  const auto hr = records("health_heart_rate");
  ASSERT_EQ(hr.size(), 2u);
  EXPECT_EQ(hr[0], (Row{kMac7, kDay, "", "15", "3", "2024", "0", "0", "0", "0", "190", "5", "20", "30", "160", "130",
                        "110", "58", "480", "3"}));
  EXPECT_EQ(hr[1].back(), "4");
  EXPECT_EQ(records("health_sleep"), (std::vector<Row>{{kMac7, "0", "1710459000", kDay, "15", "3", "2024", "", "0",
                                                        "200", "300", "0", "2", "3", "4", "480", "30", "7", "3"}}));
  // Both item counts: the counted items and the row's own "items_count".
  EXPECT_EQ(records("health_sport"), (std::vector<Row>{{kMac7, "0", "3", "0", "15", "15", "75", "5400", "320", "8000",
                                                        "", kDay, "15", "3", "2024", "96"}}));
  EXPECT_EQ(records("health_blood_pressure"),
            (std::vector<Row>{{kMac7, "0", "420", kDay, "", "15", "3", "2024", "135", "82", "3"}}));
}

TEST_F(VEQAndroidHealthTest, ItemRecordsHoldTheirValuesInOrder) {
  // Measured at 14:25:40: the measurement time keeps hour and minute.
  legacy("INSERT INTO HEALTH_HEART_RATE_ITEM VALUES ('AA:01', " + kDateMs + ", 7, 600, 72);"
         "INSERT INTO HEALTH_SLEEP_ITEM VALUES (" + kDateMs + ", 7, 0, 2, 35);"
         "INSERT INTO HEALTH_SPORT_ITEM VALUES (NULL, " + kDateMs + ", 7, 0, 2, 120, 3, 9, 80);"
         "INSERT INTO HEALTH_BLOOD_PRESSED_ITEM VALUES (7, 1710512740000, 121, 79, 865);");
  for (const char* table : {"HEALTH_HEART_RATE_ITEM", "HEALTH_SLEEP_ITEM", "HEALTH_SPORT_ITEM",
                            "HEALTH_BLOOD_PRESSED_ITEM"})
    EXPECT_EQ(migrate(table), "inserted ") << table;
  EXPECT_EQ(records("health_heart_rate_item"), (std::vector<Row>{{kMac7, "1", kDay, "72", "600"}}));
  EXPECT_EQ(records("health_sleep_item"), (std::vector<Row>{{kMac7, "1", kDay, kDay, "35", "2"}}));
  EXPECT_EQ(records("health_sport_item"), (std::vector<Row>{{kMac7, "1", kDay, "80", "9", "3", "120", "2"}}));
  EXPECT_EQ(records("health_blood_pressure_item"),
            (std::vector<Row>{{kMac7, "0", "1710512700", kDay, "1", "865", "79", "121"}}));
}

TEST_F(VEQAndroidHealthTest, GpsTracksAndPointsLandInTheirColumnsWithTheTracksDay) {
  // A track started 08:00:05 with two points of its device and one of
  // another; a point keyed by its own "smart_device_id" has no track, so no day.
  const std::string start = "1710489605000";
  legacy("INSERT INTO HEALTH_GPS VALUES (NULL, 7, " + start + ", 3);"
         "INSERT INTO HEALTH_GPS_ITEM VALUES (NULL, 7, " + start + ", 31.2304, 121.4737),"
         " (NULL, 7, " + start + ", 31.5, 121.5), (NULL, 8, " + start + ", 1, 2),"
         " ('AA:01', 5, " + start + ", -33.8688, 151.2093);");
  EXPECT_EQ(migrate("HEALTH_GPS_ITEM"), "inserted inserted inserted inserted ");
  EXPECT_EQ(migrate("HEALTH_GPS"), "inserted ");
  EXPECT_EQ(records("health_gps"),
            (std::vector<Row>{{kMac7, "", "1", "3", "2", kDay, "1710489605", "5", "0", "8", "15", "3", "2024"}}));
  const auto points = records("health_gps_point");
  ASSERT_EQ(points.size(), 4u);
  EXPECT_EQ(points[0], (Row{kMac7, kDay, "1710489605", "121.473700", "31.230400", "1"}));
  EXPECT_EQ(points[3], (Row{"AA:01", "", "1710489605", "151.209300", "-33.868800", "4"}));
}

// ---- Skips and year corrections ----------------------------------------------------

TEST_F(VEQAndroidHealthTest, RowsWithoutAUsableDayAreSkippedAndBuddhistYearsCorrected) {
  // 2024 is the current year: 2567 is 543 ahead (Buddhist era), 2524 exactly 500.
  legacy("INSERT INTO HEALTH_SPORT (D_ID, DATE, YEAR, MONTH, DAY) VALUES (7, 1000, 1970, 1, 1),"
         " (7, " + kDateMs + ", 2567, 3, 15), (7, " + kDateMs + ", 2524, 3, 15), (5, 1000, 1970, 1, 1);");
  EXPECT_EQ(migrate("HEALTH_SPORT"), "skipped:year_1970 inserted inserted skipped:unknown_device ");
  EXPECT_EQ(column("health_sport", 14), (Row{"2024", "2524"}));
  EXPECT_EQ(column("health_sport", 11)[0], kDay);

  // Rows without a time are skipped.
  legacy("INSERT INTO HEALTH_HEART_RATE_ITEM (DATE, RATE_DATA_ID) VALUES (0, 7), (-5, 7), (NULL, 7);"
         "INSERT INTO HEALTH_BLOOD_PRESSED_ITEM (DATE, BLOOD_PRESSED_DATA_ITEM_ID) VALUES (0, 5), (0, 7);"
         "INSERT INTO ADDWEIGHTDADA (date, weightValue) VALUES (0, 70), (-1, 70);"
         "INSERT INTO HEALTH_GPS (D_ID, DATE) VALUES (7, 0);");
  EXPECT_EQ(migrate("HEALTH_HEART_RATE_ITEM"), "skipped:no_date skipped:no_date skipped:no_date ");
  // Blood-pressure items resolve the device first.
  EXPECT_EQ(migrate("HEALTH_BLOOD_PRESSED_ITEM"), "skipped:unknown_device skipped:no_date ");
  EXPECT_EQ(migrate("ADDWEIGHTDADA"), "skipped:no_date skipped:no_date ");
  EXPECT_EQ(migrate("HEALTH_GPS"), "skipped:no_date ");
}

// ---- Serial numbers ------------------------------------------------------------------

TEST_F(VEQAndroidHealthTest, ItemsAreNumberedPerConsecutiveDayAndPointsPerTrack) {
  // Days A, A, (unknown device), A, B, A → 1, 2, –, 3, 1, 1; the last lands
  // on A/1 again and updates it.
  const std::string a = kDateMs, b = kNextDateMs;
  legacy("INSERT INTO HEALTH_HEART_RATE_ITEM (DATE, RATE_DATA_ID, HEART_RAVE_VALUE) VALUES (" + a + ", 7, 1), (" + a +
         ", 7, 2), (" + a + ", 5, 0), (" + a + ", 7, 3), (" + b + ", 7, 4), (" + a + ", 7, 5);");
  EXPECT_EQ(migrate("HEALTH_HEART_RATE_ITEM"), "inserted inserted skipped:unknown_device inserted inserted updated ");
  EXPECT_EQ(column("health_heart_rate_item", 1), (Row{"1", "2", "3", "1"}));
  EXPECT_EQ(column("health_heart_rate_item", 3), (Row{"5", "2", "3", "4"}));

  // Sleep items with their own number keep it without moving the count.
  legacy("INSERT INTO HEALTH_SLEEP_ITEM (DATE, SLEEP_DATA_ID, serial_number) VALUES (" + a + ", 7, 5), (" + a +
         ", 7, 0), (" + a + ", 7, 0);");
  migrate("HEALTH_SLEEP_ITEM");
  EXPECT_EQ(column("health_sleep_item", 1), (Row{"5", "1", "2"}));

  // Points of tracks A, A, A, B, B, A → 1, 2, 3, 1, 2, 1.
  const std::string t1 = "1710489605000", t2 = "1710493200000";
  legacy("INSERT INTO HEALTH_GPS_ITEM (D_ID, DATE) VALUES (7, " + t1 + "), (7, " + t1 + "), (7, " + t1 + "), (7, " +
         t2 + "), (7, " + t2 + "), (7, " + t1 + ");");
  migrate("HEALTH_GPS_ITEM");
  EXPECT_EQ(column("health_gps_point", 5), (Row{"1", "2", "3", "1", "2"}));
}

// ---- Weight and workouts -------------------------------------------------------------

TEST_F(VEQAndroidHealthTest, WeightsHaveOneDecimalAndOneRecordPerDay) {
  // 08:00 and 20:00 of one day, then the next day: two records, the first
  // holding the later weighing. A previous weight above 400 was kept in tenths.
  legacy("INSERT INTO ADDWEIGHTDADA VALUES (1710489600000, 72.46, 725, 1), (1710532800000, 725, 400, 1),"
         " (1710576000000, '70', NULL, NULL);");
  EXPECT_EQ(migrate("ADDWEIGHTDADA"), "inserted updated inserted ");
  const auto weights = records("health_weight");
  ASSERT_EQ(weights.size(), 2u);
  EXPECT_EQ(weights[0], (Row{"", "", "", "", "", "", "", "0", "400.0", "1", "1", "725.0", "1710532800", kDay, "15",
                             "3", "2024"}));
  EXPECT_EQ(weights[1][8], "0.0");
  EXPECT_EQ(weights[1][9], "");
  EXPECT_EQ(weights[1][11], "70.0");

  legacy("DELETE FROM ADDWEIGHTDADA; INSERT INTO ADDWEIGHTDADA VALUES (1710489600000, 72.46, 725, 1);");
  migrate("ADDWEIGHTDADA");
  EXPECT_EQ(records("health_weight")[0][8], "72.5");
  EXPECT_EQ(records("health_weight")[0][11], "72.5");
}

TEST_F(VEQAndroidHealthTest, WorkoutsComeFromTheirJson) {
  legacy(R"(INSERT INTO ACTIVITY_DATA VALUES
      (-1, 7, '{"date": 1710489600000, "type": 4, "step": 3000, "durations": 86400, "calories": 210,
                "distance": 2400, "avg_hr_value": 120, "max_hr_value": 171, "burn_fat_mins": 9,
                "aerobic_mins": 8, "limit_mins": 7, "packet_count": 6, "hr_item_count": 5,
                "hr_data_interval_minute": 1, "data_length": 40, "isSave": false, "isDeviceSend": true,
                "hr": {"b": [70, 72], "x": "n/a", "a": [80]}}'),
      (1710493200000, 7, '{"hr_data_vlaue": [60, 61]}'),
      (1710496800000, 7, 'not json'),
      (1710500400000, 7, '{"durations": 86401}'),
      (0, 7, '{"date": 1710489600000}'),
      (1710504000000, 5, '{}'))");
  EXPECT_EQ(migrate("ACTIVITY_DATA"),
            "inserted inserted inserted skipped:duration_over_one_day skipped:no_date skipped:unknown_device ");
  const auto workouts = records("health_activity");
  ASSERT_EQ(workouts.size(), 3u);
  EXPECT_EQ(workouts[0], (Row{kMac7, "1", "0", "[70,72,80]", "0", "0", "7", "8", "9", "171", "120", "2400", "210",
                              "86400", "3000", "4", "6", "5", "1", "40", "1710489600", kDay, "0", "0", "8", "15", "3",
                              "2024"}));
  EXPECT_EQ(workouts[1][3], "[60,61]");
  EXPECT_EQ(workouts[2][3], "");
  EXPECT_EQ(workouts[2][13], "0");
}

}  // namespace
}  // namespace veq
