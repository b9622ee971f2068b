// Legacy iOS sleep, heart rate, workouts, GPS, blood pressure and weight,
// migrated through their drivers between real temporary SQLite databases.
// Expected stamps are worked out by hand in UTC: 2024-03-15 starts at
// 1710460800, 2024-03-16 at 1710547200.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ios_health_support.h"

namespace veq {
namespace {

using Values = std::vector<std::string>;

const std::string kMar15 = "1710460800";
const std::string kMar16 = "1710547200";

class VEQIosHealthRecordsTest : public VEQIosHealthTest {};

TEST_F(VEQIosHealthRecordsTest, SleepHeadAndStretchInBindingOrder) {
  // Ended 07:30 after 480 minutes: started 23:30 the evening before. Two
  // stretches of that day and device; others do not count.
  legacy(
      "INSERT INTO t_sleep_head VALUES ('AA:01', 20240315, 7, 30, 480, 5, 3, 2, 20, 300, 160);"
      "INSERT INTO t_sleep_item VALUES ('AA:01', 20240315, 0, 2, 45), ('AA:01', 20240315, 0, 1, 30),"
      " ('AA:02', 20240315, 0, 1, 1), ('AA:01', 20240316, 0, 1, 1);");
  migrate("t_sleep_head", 1);
  migrate("t_sleep_item", 4);

  EXPECT_EQ(records("health_sleep"),
            (std::vector<Values>{{kMac, "0", "1710459000", kMar15, "15", "3", "2024", "", "0", "160", "300", "20", "2",
                                  "3", "5", "480", "30", "7", "2"}}));
  EXPECT_EQ(records("health_sleep_item").at(0), (Values{kMac, "1", kMar15, kMar15, "45", "2"}));
}

TEST_F(VEQIosHealthRecordsTest, SleepIsKeyedByItsStartOnTheEveningBefore) {
  // 08:00 after 480 minutes starts at midnight itself; 07:30 after 480 at
  // 23:30 the day before, across a new year too; two heads of one day with
  // different ends are two sleeps.
  legacy(
      "INSERT INTO t_sleep_head (smart_device_id, date, end_time_hour, end_time_minute, total_minute) VALUES"
      " ('AA:01', 20240315, 8, 0, 480), ('AA:01', 20240315, 7, 30, 480), ('AA:01', 20240315, 23, 0, 60),"
      " ('AA:01', 20240101, 7, 30, 480);");
  for (int run = 0; run < 2; ++run) migrate("t_sleep_head", 4);

  EXPECT_EQ(outcomes(), "inserted inserted inserted inserted updated updated updated updated ");
  EXPECT_EQ(column("health_sleep", 2), (Values{kMar15, "1710459000", "1710540000", "1704065400"}));
  EXPECT_EQ(column("health_sleep", 3), (Values{kMar15, kMar15, kMar15, "1704067200"}));
}

TEST_F(VEQIosHealthRecordsTest, HeartRateDayAndMeasurementInBindingOrder) {
  // Zones are read fat burning, aerobic, limit and written the other way
  // round; the item count comes from the measurements, not from the row.
  legacy(
      "INSERT INTO t_heart_rate_data VALUES ('AA:01', 20240315, 5, 60, 110, 140, 170, 30, 20, 10, 190);"
      "INSERT INTO t_heart_rate_item VALUES ('AA:01', 20240315, 0, 12, 88), ('AA:01', 20240315, 0, 13, 90),"
      " ('AA:01', 20240315, 9, 14, 91), ('AA:01', 20240316, 0, 1, 1);");
  migrate("t_heart_rate_data", 1);
  migrate("t_heart_rate_item", 4);

  EXPECT_EQ(records("health_heart_rate"),
            (std::vector<Values>{{kMac, kMar15, "", "15", "3", "2024", "0", "0", "0", "0", "190", "10", "20", "30",
                                  "170", "140", "110", "60", "5", "3"}}));
  const auto items = records("health_heart_rate_item");
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0], (Values{kMac, "1", kMar15, "88", "12"}));
  EXPECT_EQ(column("health_heart_rate_item", 1), (Values{"1", "2", "9", "1"}));
}

TEST_F(VEQIosHealthRecordsTest, WorkoutInBindingOrderThroughEitherDriver) {
  // Started 2024-03-15 10:53:20 UTC. The legacy iOS driver's routine keeps
  // samples as stored and ignores the older started-on-device flag; the
  // health driver's routine turns samples into integers and reads that flag.
  // Both write the one record of that device and start.
  legacy(
      "INSERT INTO t_active_data VALUES ('AA:01', '1710500000', 101, 2, 3, 4, 5, 6006, 3600, 207, 4008, 120,"
      " 170, 21, 22, 23, 1, 0, 1, '{\"hr\": {\"0\": [72, \"75\", 80]}}');");
  migrate("t_active_data", 1);
  const Values strict = {kMac, "0", "1", "[72,\"75\",80]", "0", "0", "23", "22", "21", "170", "120", "4008", "207",
                         "3600", "6006", "5", "4", "3", "2", "101", "1710500000", kMar15, "20", "53", "10", "15", "3",
                         "2024"};
  EXPECT_EQ(records("health_activity"), (std::vector<Values>{strict}));

  migrateHealth("t_active_data", 1);
  Values tolerant = strict;
  tolerant[1] = "1";
  tolerant[3] = "[72,75,80]";
  EXPECT_EQ(records("health_activity"), (std::vector<Values>{tolerant}));
  EXPECT_EQ(outcomes(), "inserted updated ");
}

TEST_F(VEQIosHealthRecordsTest, WorkoutsInTheRepeatedHourStayTwoRecords) {
  // 2024-11-03 01:30 happened twice in New York: 1730611800 (EDT) and an hour
  // later 1730615400 (EST). Each workout keeps its own start.
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("America/New_York"));
  for (const char* start : {"1730611800", "1730615400"}) {
    legacy(std::string("INSERT INTO t_active_data VALUES ('AA:01', '") + start +
           "', 101, 2, 3, 4, 5, 6006, 1800, 207, 4008, 120, 170, 21, 22, 23, 1, 0, 1, '');");
  }
  migrate("t_active_data", 2);
  EXPECT_EQ(outcomes(), "inserted inserted ");
  EXPECT_EQ(column("health_activity", 20), (Values{"1730611800", "1730615400"}));
  EXPECT_EQ(column("health_activity", 24), (Values{"1", "1"}));  // both at 01:30 on the wall clock
}

TEST_F(VEQIosHealthRecordsTest, WorkoutSamplesOfAnyOtherShapeBecomeAnEmptyList) {
  // One day of duration is migrated, a second more is not; a start in
  // milliseconds is read as seconds.
  legacy(
      "INSERT INTO t_active_data (smart_device_id, time_string, durations, hr_value) VALUES"
      " ('AA:01', '1710500001', 86400, '{\"hr\": {\"0\": [72, 75, 80]}}'),"
      " ('AA:01', '1710500002', 0, '[72, 75]'), ('AA:01', '1710500003', 0, NULL),"
      " ('AA:01', '1710500004', 0, '{\"hr\": '), ('AA:01', '1710500005', 0, '{\"hr\": [72]}'),"
      " ('AA:01', '1710500006000', 0, '{\"hr\": {\"0\": 72}}'),"
      " ('AA:01', '1710500007', 86401, '{\"hr\": {\"0\": [72]}}');");
  for (bool tolerant : {false, true}) {
    SCOPED_TRACE(tolerant);
    tolerant ? migrateHealth("t_active_data", 7) : migrate("t_active_data", 7);
    EXPECT_EQ(column("health_activity", 3), (Values{"[72,75,80]", "[]", "[]", "[]", "[]", "[]"}));
    EXPECT_EQ(column("health_activity", 20),
              (Values{"1710500001", "1710500002", "1710500003", "1710500004", "1710500005", "1710500006"}));
    EXPECT_EQ(outcomes().substr(0, 4), tolerant ? "upda" : "inse");
  }
}

TEST_F(VEQIosHealthRecordsTest, GpsTrackHeadOnceAndPointsNumberedPerTrack) {
  // Track A (2024-03-15 10:30) has three points, a row without a device
  // that does not advance the numbering, then track B (2024-03-16 08:00),
  // then A again: its numbering restarts and rewrites A's first point.
  const std::string a = "INSERT INTO t_gps_data VALUES ('AA:01', '20240315103000', ";
  const std::string b = "INSERT INTO t_gps_data VALUES ('AA:01', '20240316080000', ";
  legacy(a + "'22.51', '113.91', 5);" + a + "'22.52', '113.92', 5);" + a + "'22.53', '113.93', 5);" +
         "INSERT INTO t_gps_data VALUES ('', '20240315103000', '1', '1', 5);" + b + "'22.61', '114.01', 9);" + b +
         "'22.62', '114.02', 9);" + a + "'22.59', '113.99', 5);");
  migrate("t_gps_data", 7);
  EXPECT_EQ(outcomes(), "inserted inserted inserted skipped:no_device_key inserted inserted updated ");

  EXPECT_EQ(records("health_gps"),
            (std::vector<Values>{
                {kMac, "", "1", "5", "4", kMar15, "1710498600", "0", "30", "10", "15", "3", "2024"},
                {kMac, "", "1", "9", "2", kMar16, "1710576000", "0", "0", "8", "16", "3", "2024"}}));
  const auto points = records("health_gps_point");
  ASSERT_EQ(points.size(), 5u);
  EXPECT_EQ(points[0], (Values{kMac, kMar15, "1710498600", "113.99", "22.59", "1"}));
  EXPECT_EQ(points[3], (Values{kMac, kMar16, "1710576000", "114.01", "22.61", "1"}));
  EXPECT_EQ(column("health_gps_point", 5), (Values{"1", "2", "3", "1", "2"}));
  EXPECT_EQ(column("health_gps_point", 3), (Values{"113.99", "113.92", "113.93", "114.01", "114.02"}));

  // Again, with one more point of A in the legacy store: the heads stay as
  // they were, every point is rewritten in place.
  legacy(a + "'22.60', '114.00', 5);");
  migrate("t_gps_data", 8);
  EXPECT_EQ(outcomes(), "updated updated updated skipped:no_device_key updated updated updated updated ");
  EXPECT_EQ(column("health_gps", 4), (Values{"4", "2"}));
  EXPECT_EQ(records("health_gps_point").size(), 5u);
}

TEST_F(VEQIosHealthRecordsTest, BloodPressureDayAndMeasurementsInBindingOrder) {
  // Both tables keep the day's start as a time stamp. Measurements are
  // numbered per day whatever their device; the day row counts its own
  // device's measurements of that exact day value.
  legacy(
      "INSERT INTO t_blood_presure VALUES ('AA:01', 1710460800, 9, 121, 81, 15);"
      "INSERT INTO t_blood_item VALUES ('AA:01', '1710460800', 122, 82, 30), ('AA:01', '1710460800', 123, 83, 45),"
      " ('AA:02', '1710460800', 1, 1, 1), ('AA:01', '1710500000', 124, 84, 60);");
  migrateHealth("t_blood_presure", 1);
  migrateHealth("t_blood_item", 4);

  EXPECT_EQ(records("health_blood_pressure"),
            (std::vector<Values>{{kMac, "0", "15", kMar15, "", "15", "3", "2024", "121", "81", "2"}}));
  const auto items = records("health_blood_pressure_item");
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0], (Values{kMac, "0", kMar15, kMar15, "1", "30", "82", "122"}));
  EXPECT_EQ(items[3], (Values{kMac, "0", "1710500000", kMar15, "4", "60", "84", "124"}));
  EXPECT_EQ(column("health_blood_pressure_item", 4), (Values{"1", "2", "3", "4"}));
}

TEST_F(VEQIosHealthRecordsTest, WeightIsOneRecordPerDayWhateverTheDevice) {
  // The second weighing of the 15th, from another device, replaces the
  // first; the 16th is a record of its own.
  legacy(
      "INSERT INTO t_and_weight_data VALUES ('AA:01', '1710500000', 71.0, 0), ('AA:02', '1710510000', 72.5, 1),"
      " ('AA:01', '1710547200', NULL, NULL);");
  migrateHealth("t_and_weight_data", 3);
  EXPECT_EQ(outcomes(), "inserted updated inserted ");
  EXPECT_EQ(records("health_weight"),
            (std::vector<Values>{
                {"", "", "", "", "", "", "", "1", "72.5", "1", "1", "72.5", "1710510000", kMar15, "15", "3", "2024"},
                {"", "", "", "", "", "", "", "0", "", "1", "1", "", kMar16, kMar16, "16", "3", "2024"}}));
}

TEST_F(VEQIosHealthRecordsTest, RowsWithoutDeviceOrTimeAreSkippedAsDone) {
  struct Case {
    bool healthDriver;
    std::string table, timeColumn;
  };
  const Case cases[] = {
      {false, "t_sport_data", "date"},        {false, "t_sport_item", "date"},
      {false, "t_sleep_head", "date"},        {false, "t_sleep_item", "date"},
      {false, "t_heart_rate_data", "date"},   {false, "t_heart_rate_item", "date"},
      {false, "t_active_data", "time_string"}, {false, "t_gps_data", "time"},
      {true, "t_active_data", "time_string"}, {true, "t_blood_presure", "date"},
      {true, "t_blood_item", "timeString"},   {true, "t_and_weight_data", "time_string"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.table);
    legacy("DELETE FROM " + c.table + "; INSERT INTO " + c.table + " (smart_device_id, " + c.timeColumn +
           ") VALUES (NULL, '20240315'), ('', '20240315'), ('AA:01', 0), ('AA:01', -20240315), ('AA:01', NULL),"
           " ('AA:01', 'abc');");
    c.healthDriver ? migrateHealth(c.table, 6) : migrate(c.table, 6);
    EXPECT_EQ(outcomes(),
              "skipped:no_device_key skipped:no_device_key skipped:no_date skipped:no_date skipped:no_date "
              "skipped:no_date ");
  }
  for (const char* table : {"health_sport", "health_sport_item", "health_sleep", "health_sleep_item", "health_heart_rate", "health_heart_rate_item",
                            "health_activity", "health_gps", "health_gps_point", "health_blood_pressure",
                            "health_blood_pressure_item", "health_weight"}) {
    EXPECT_TRUE(records(table).empty()) << table;
  }
}

}  // namespace
}  // namespace veq
