// Legacy iOS sport days and items, migrated through the legacy iOS driver
// between real temporary SQLite databases.

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

constexpr int kFirstRecordColumn = 7;  // after pk and the six base columns
const char* const kMac = "AA:01";  // written as 'AA:01' in the SQL below

class VEQIosSportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
    VEQSDKUtility::setFixedNow(1717243200);  // 2024-06-01T12:00:00Z

    legacy_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "legacy.db");
    ASSERT_TRUE(legacy_->database()->executeStatements(
        "CREATE TABLE t_sport_data (smart_device_id TEXT, date INTEGER, items_count INTEGER,"
        " total_step INTEGER, total_cal INTEGER, total_distances INTEGER, total_active_time INTEGER,"
        " minute_offset INTEGER, per_minute INTEGER, goal_sport_data INTEGER);"
        "CREATE TABLE t_sport_item (smart_device_id TEXT, date INTEGER, serial_number INTEGER,"
        " mode INTEGER, sport_count INTEGER, active_time INTEGER, calories INTEGER, distance INTEGER);"));
    target_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "new.db");
    std::string error;
    ASSERT_TRUE(veqInstallSchema(target_->database().get(), &error)) << error;
  }

  void TearDown() override {
    VEQOldDBManager::clearCountCache(legacy_.get());
    VEQSDKUtility::setFixedNow(std::nullopt);
    VEQSDKUtility::setTimeZone("");
  }

  void legacy(const std::string& sql) {
    ASSERT_TRUE(legacy_->database()->executeStatements(sql)) << legacy_->database()->lastErrorMessage();
    VEQOldDBManager::clearCountCache(legacy_.get());
  }

  // Runs the driver on one table; every row must report YES. Each row's
  // outcome is appended to outcomes_ ("inserted ", "skipped:no_date " …).
  void migrate(const std::string& table, size_t expectedReports) {
    size_t reports = 0;
    VEQProDBManager::jkdbDataMigrationWithTableName(
        table, target_.get(), legacy_.get(), [&](const std::string& name, VEQFMDatabase*, bool ok) {
          EXPECT_EQ(name, table);
          EXPECT_TRUE(ok);
          ++reports;
          const VEQRowReport& r = VEQProDBManager::lastRowReport();
          outcomes_ += std::string(veqOutcomeName(r.outcome));
          if (r.outcome == VEQRowOutcome::kSkipped) outcomes_ += ":" + std::string(veqSkipReasonName(r.reason));
          outcomes_ += " ";
        });
    EXPECT_EQ(reports, expectedReports) << table;
  }

  // The record values of every row of a new table, in pk order, each as its
  // "%@" text.
  std::vector<std::vector<std::string>> records(const std::string& table) {
    std::vector<std::vector<std::string>> out;
    auto rs = target_->database()->executeQuery("SELECT * FROM " + table + " ORDER BY pk");
    while (rs && rs->next()) {
      std::vector<std::string> row;
      for (int i = kFirstRecordColumn; i < rs->columnCount(); ++i)
        row.push_back(rs->objectForColumnIndex(i).description());
      out.push_back(std::move(row));
    }
    return out;
  }

  static std::string dayStamp(int y, int m, int d) { return VEQSDKUtility::get1970timeTempWithYear(y, m, d); }

  // The outcomes since the last call, and forgets them.
  std::string outcomes() { return std::exchange(outcomes_, ""); }

  ScratchDir dir_;
  std::string outcomes_;
  std::shared_ptr<VEQFMDatabaseQueue> legacy_;
  std::shared_ptr<VEQFMDatabaseQueue> target_;
};

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

TEST_F(VEQIosSportTest, RowsWithoutDeviceOrDayAreSkippedAsDone) {
  const std::string bad =
      " VALUES (NULL, 20240315), ('', 20240315), ('AA:01', 0),"
      " ('AA:01', -20240315), ('AA:01', NULL);";
  legacy("INSERT INTO t_sport_data (smart_device_id, date)" + bad +
         "INSERT INTO t_sport_item (smart_device_id, date)" + bad);
  migrate("t_sport_data", 5);
  migrate("t_sport_item", 5);
  const std::string reasons = "skipped:no_device_key skipped:no_device_key skipped:no_date skipped:no_date "
                              "skipped:no_date ";
  EXPECT_EQ(outcomes(), reasons + reasons);
  EXPECT_TRUE(records("health_sport").empty());
  EXPECT_TRUE(records("health_sport_item").empty());
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

  std::vector<std::string> serials, steps;
  for (const auto& row : records("health_sport_item")) {
    serials.push_back(row[1]);
    steps.push_back(row[6]);
  }
  EXPECT_EQ(serials, (std::vector<std::string>{"1", "2", "1", "7"}));
  EXPECT_EQ(steps, (std::vector<std::string>{"4", "6", "3", "5"}));
  EXPECT_EQ(VEQProDBManager::serialNumber(), 2);
}

TEST_F(VEQIosSportTest, MigratingAgainUpdatesInPlace) {
  legacy("INSERT INTO t_sport_data (smart_device_id, date, total_step) VALUES ('AA:01', 20240315, 100);"
         "INSERT INTO t_sport_item (smart_device_id, date) VALUES ('AA:01', 20240315), ('AA:01', 20240315);");
  for (int run = 0; run < 2; ++run) {
    migrate("t_sport_data", 1);
    migrate("t_sport_item", 2);
  }
  EXPECT_EQ(outcomes(), "inserted inserted inserted updated updated updated ");
  EXPECT_EQ(records("health_sport").size(), 1u);
  EXPECT_EQ(records("health_sport_item").size(), 2u);

  // A second legacy row of the same device and day overwrites the record.
  legacy("INSERT INTO t_sport_data (smart_device_id, date, total_step) VALUES ('AA:01', 20240315, 900);");
  migrate("t_sport_data", 2);
  const auto rows = records("health_sport");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0][9], "900");
}

}  // namespace
}  // namespace veq
