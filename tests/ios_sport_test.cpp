// Legacy iOS sport days and items, migrated through the legacy iOS driver
// between real temporary SQLite databases.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collaborators/sdk_utility.h"
#include "ios_health_support.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"

namespace veq {
namespace {

using VEQIosSportTest = VEQIosHealthTest;

TEST_F(VEQIosSportTest, DayRecordHoldsSixteenValuesWithItemCountFromLegacyStore) {
  // "items_count" claims 96, the item table holds 3 of that day and device;
  // items of another day or device do not count.
  legacy(
      "INSERT INTO t_sport_data VALUES ('AA:01', 20240315, 96, 8000, 320, 5400, 75, 15, 15, 10000);"
      "INSERT INTO t_sport_data VALUES ('AA:01', 20240316, 96, 1, 2, 3, 4, 5, 6, 7);"
      "INSERT INTO t_sport_item (smart_device_id, date) VALUES ('AA:01', 20240315), ('AA:01', 20240315),"
      " ('AA:01', 20240315), ('AA:01', 20240317), ('other', 20240315);");
  migrate("t_sport_data", 2);

  const std::string day = dayStamp(2024, 3, 15);
  EXPECT_EQ(day, "1710460800");
  const auto rows = records("health_sport");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], (std::vector<std::string>{kMac, "0", "3", "10000", "15", "15", "75", "5400", "320", "8000",
                                               "", day, "15", "3", "2024", "3"}));
  // A day without legacy items is still written, with 0 items.
  EXPECT_EQ(rows[1][15], "0");
}

TEST_F(VEQIosSportTest, ItemRecordHoldsEightValuesAndSameDayMeansSameStamp) {
  // Also in a zone away from UTC: the stamp is that zone's midnight, and a
  // date carrying a time of day lands on the same day.
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("America/New_York"));
  legacy("INSERT INTO t_sport_item VALUES ('AA:01', 20240315, 0, 2, 120, 3, 9, 80);"
         "INSERT INTO t_sport_item VALUES ('AA:01', 20240315233000, 0, 1, 5, 1, 1, 4);");
  migrate("t_sport_item", 2);

  const std::string day = dayStamp(2024, 3, 15);
  EXPECT_EQ(day, "1710475200");  // 2024-03-15T00:00:00-04:00
  const auto rows = records("health_sport_item");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], (std::vector<std::string>{kMac, "1", day, "80", "9", "3", "120", "2"}));
  EXPECT_EQ(rows[1][2], day);

  // The same legacy day converts afresh when the zone changes.
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, day);
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, "1710460800");
}

TEST_F(VEQIosSportTest, UnnumberedItemsAreNumberedPerConsecutiveDay) {
  // Days A, A, B, A → 1, 2, 1, 1 (the fourth lands on A/1 again and updates
  // it); a numbered item keeps its number and does not advance the counter.
  legacy("INSERT INTO t_sport_item (smart_device_id, date, serial_number, sport_count) VALUES"
         " ('AA:01', 20240315, 0, 1), ('AA:01', 20240315, 0, 2), ('AA:01', 20240316, 0, 3),"
         " ('AA:01', 20240315, 0, 4), ('AA:01', 20240315, 7, 5), ('AA:01', 20240315, 0, 6);");
  migrate("t_sport_item", 6);

  EXPECT_EQ(column("health_sport_item", 1), (std::vector<std::string>{"1", "2", "1", "7"}));
  EXPECT_EQ(column("health_sport_item", 6), (std::vector<std::string>{"4", "6", "3", "5"}));
  EXPECT_EQ(VEQProDBManager::serialNumber(), 2);
}

}  // namespace
}  // namespace veq
