// A legacy iOS store with every health table and a new database with the
// health schema, both real temporary SQLite files, for the tests of the
// legacy iOS health conversions. Runs in UTC with "now" fixed in 2024.
#pragma once

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

class VEQIosHealthTest : public SessionTest {
 protected:
  static constexpr const char* kMac = "AA:01";  // written as 'AA:01' in the SQL of the tests

  void SetUp() override {
    ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
    VEQSDKUtility::setFixedNow(1717243200);  // 2024-06-01T12:00:00Z

    legacy_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "legacy.db");
    ASSERT_TRUE(legacy_->database()->executeStatements(
        "CREATE TABLE t_sport_data (smart_device_id TEXT, date INTEGER, items_count INTEGER,"
        " total_step INTEGER, total_cal INTEGER, total_distances INTEGER, total_active_time INTEGER,"
        " minute_offset INTEGER, per_minute INTEGER, goal_sport_data INTEGER);"
        "CREATE TABLE t_sport_item (smart_device_id TEXT, date INTEGER, serial_number INTEGER,"
        " mode INTEGER, sport_count INTEGER, active_time INTEGER, calories INTEGER, distance INTEGER);"
        "CREATE TABLE t_sleep_head (smart_device_id TEXT, date INTEGER, end_time_hour INTEGER,"
        " end_time_minute INTEGER, total_minute INTEGER, light_sleep_count INTEGER, deep_sleep_count INTEGER,"
        " wake_count INTEGER, wake_minute INTEGER, ligth_sleep_minute INTEGER, deep_sleep_minute INTEGER);"
        "CREATE TABLE t_sleep_item (smart_device_id TEXT, date INTEGER, serial_number INTEGER,"
        " sleep_status INTEGER, durations INTEGER);"
        "CREATE TABLE t_heart_rate_data (smart_device_id TEXT, date INTEGER, minute_offset INTEGER,"
        " silent_heart_rate INTEGER, burn_fat_threshold INTEGER, aerobic_threshold INTEGER,"
        " limit_threshold INTEGER, burn_fat_mins INTEGER, aerobic_mins INTEGER, limit_mins INTEGER,"
        " user_max_hr INTEGER);"
        "CREATE TABLE t_heart_rate_item (smart_device_id TEXT, date INTEGER, serial_number INTEGER,"
        " offset INTEGER, data INTEGER);"
        "CREATE TABLE t_active_data (smart_device_id TEXT, time_string TEXT, data_length INTEGER,"
        " hr_data_interval_minute INTEGER, hr_item_count INTEGER, packet_count INTEGER, type INTEGER,"
        " step INTEGER, durations INTEGER, calories INTEGER, distance INTEGER, avg_hr_value INTEGER,"
        " max_hr_value INTEGER, burn_fat_mins INTEGER, aerobic_mins INTEGER, limit_mins INTEGER,"
        " is_save INTEGER, is_ble_start INTEGER, is_the_ble_start INTEGER, hr_value TEXT);"
        "CREATE TABLE t_gps_data (smart_device_id TEXT, time TEXT, latitudeStr TEXT, longitudeStr TEXT,"
        " interval INTEGER);"
        "CREATE TABLE t_blood_presure (smart_device_id TEXT, date INTEGER, item_count INTEGER,"
        " sys_blood INTEGER, dias_blood INTEGER, minute_offset INTEGER);"
        "CREATE TABLE t_blood_item (smart_device_id TEXT, timeString TEXT, sys_blood INTEGER,"
        " dias_blood INTEGER, offset INTEGER);"
        "CREATE TABLE t_and_weight_data (smart_device_id TEXT, time_string TEXT, weight_value_cn REAL,"
        " isHandsRecord INTEGER);"));
    target_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "new.db");
    std::string error;
    ASSERT_TRUE(veqInstallSchema(target_->database().get(), &error)) << error;
  }

  void legacy(const std::string& sql) {
    ASSERT_TRUE(legacy_->database()->executeStatements(sql)) << legacy_->database()->lastErrorMessage();
    VEQOldDBManager::clearCountCache(legacy_.get());
  }

  // Runs the legacy iOS driver on one table; every row must report YES. Each
  // row's outcome is appended to outcomes_ ("inserted ", "skipped:no_date "
  // …).
  void migrate(const std::string& table, size_t expectedReports) {
    run(&VEQProDBManager::jkdbDataMigrationWithTableName, table, expectedReports);
  }
  // The same through the health driver.
  void migrateHealth(const std::string& table, size_t expectedReports) {
    run(&VEQProDBManager::androidDataMigrationWithTableName, table, expectedReports);
  }

  std::vector<std::vector<std::string>> records(const std::string& table) {
    return recordTexts(target_->database().get(), table);
  }
  std::vector<std::string> column(const std::string& table, size_t index) {
    return recordColumn(target_->database().get(), table, index);
  }

  static std::string dayStamp(int y, int m, int d) { return VEQSDKUtility::get1970timeTempWithYear(y, m, d); }

  // The outcomes since the last call, and forgets them.
  std::string outcomes() { return std::exchange(outcomes_, ""); }

  ScratchDir dir_;
  std::string outcomes_;
  std::shared_ptr<VEQFMDatabaseQueue> legacy_;
  std::shared_ptr<VEQFMDatabaseQueue> target_;

 private:
  using Driver = void (*)(const std::string&, VEQFMDatabaseQueue*, VEQFMDatabaseQueue*,
                          const VEQProDBManager::CompletionCallback&);

  void run(Driver driver, const std::string& table, size_t expectedReports) {
    size_t reports = 0;
    driver(table, target_.get(), legacy_.get(), [&](const std::string& name, VEQFMDatabase*, bool ok) {
      EXPECT_EQ(name, table);
      EXPECT_TRUE(ok);
      ++reports;
      outcomes_ += lastOutcome() + " ";
    });
    EXPECT_EQ(reports, expectedReports) << table;
  }
};

}  // namespace veq
