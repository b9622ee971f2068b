// The two GPS writers bind different numbers of values to the same
// statements: the legacy iOS one includes the day stamp, the Android one
// leaves it out. Both must land every value in its named column.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "collaborators/old_db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "migration/pro_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;
using Record = std::map<std::string, std::string>;

// The record of `mac` in `table`, column name → "%@" text.
Record recordOf(VEQFMDatabase* db, const std::string& table, const std::string& mac) {
  Record out;
  auto rs = db->executeQuery("SELECT * FROM " + table + " WHERE mac_addr = ?", {mac});
  if (rs && rs->next()) {
    for (int i = 0; i < rs->columnCount(); ++i) out[rs->columnName(i)] = rs->objectForColumnIndex(i).description();
  }
  return out;
}

TEST(GpsWriters, BothLayoutsLandInTheSameNamedColumns) {
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  ScratchDir dir;
  auto ios = VEQFMDatabaseQueue::databaseQueueWithPath(dir / "ios.db");
  auto android = VEQFMDatabaseQueue::databaseQueueWithPath(dir / "android.db");
  auto target = VEQFMDatabaseQueue::databaseQueueWithPath(dir / "new.db");
  std::string error;
  ASSERT_TRUE(veqInstallSchema(target->database().get(), &error)) << error;
  ASSERT_TRUE(ios->database()->executeStatements(
      "CREATE TABLE t_gps_data (smart_device_id TEXT, time TEXT, latitudeStr TEXT, longitudeStr TEXT, interval INTEGER);"
      "INSERT INTO t_gps_data VALUES ('AA:01', '20240315103000', '22.51', '113.91', 5);"));
  ASSERT_TRUE(android->database()->executeStatements(
      "CREATE TABLE HEALTH_GPS (D_ID INTEGER, DATE INTEGER, DATA_INTERVAL INTEGER);"
      "CREATE TABLE HEALTH_GPS_ITEM (D_ID INTEGER, DATE INTEGER, LATITUDE REAL, LONGITUDE REAL);"
      "INSERT INTO HEALTH_GPS VALUES (7, 1710489605000, 3);"
      "INSERT INTO HEALTH_GPS_ITEM VALUES (7, 1710489605000, 31.2304, 121.4737);"));
  M::shareInstance().setAndroidUserDevices({{{"D_ID", 7}, {"MAC_ADDRESS", "BB:07"}}});
  VEQOldDBManager::shareInstance().setAndroidQueue(android.get());

  M::jkdbDataMigrationWithTableName("t_gps_data", target.get(), ios.get(), nullptr);
  M::androidDataMigrationWithTableName("HEALTH_GPS", target.get(), android.get(), nullptr);
  M::androidDataMigrationWithTableName("HEALTH_GPS_ITEM", target.get(), android.get(), nullptr);
  VEQOldDBManager::shareInstance().setAndroidQueue(nullptr);
  M::shareInstance().setAndroidUserDevices({});

  // 2024-03-15: midnight 1710460800; the iOS track starts 10:30:00, the
  // Android one 08:00:05.
  VEQFMDatabase* db = target->database().get();
  const Record iosTrack = recordOf(db, "health_gps", "AA:01"), androidTrack = recordOf(db, "health_gps", "BB07");
  for (const auto& [track, expected] :
       {std::pair{iosTrack, Record{{"day_stamp", "1710460800"}, {"start_stamp", "1710498600"}, {"point_interval", "5"},
                                   {"point_count", "1"}, {"hour", "10"}, {"minute", "30"}, {"second", "0"},
                                   {"day", "15"}, {"month", "3"}, {"year", "2024"}, {"coordinate_system", "1"}}},
        {androidTrack, Record{{"day_stamp", "1710460800"}, {"start_stamp", "1710489605"}, {"point_interval", "3"},
                              {"point_count", "1"}, {"hour", "8"}, {"minute", "0"}, {"second", "5"}, {"day", "15"},
                              {"month", "3"}, {"year", "2024"}, {"coordinate_system", "1"}}}}) {
    ASSERT_FALSE(track.empty());
    for (const auto& [column, value] : expected) EXPECT_EQ(track.at(column), value) << column;
  }
  const Record iosPoint = recordOf(db, "health_gps_point", "AA:01");
  const Record androidPoint = recordOf(db, "health_gps_point", "BB07");
  EXPECT_EQ(iosPoint, (Record{{"pk", iosPoint.at("pk")}, {"migration_state", "1"}, {"user_id", ""},
                               {"device_name", ""}, {"device_type", ""}, {"firmware_version", ""}, {"remark", ""},
                               {"mac_addr", "AA:01"}, {"day_stamp", "1710460800"}, {"start_stamp", "1710498600"},
                               {"longitude", "113.91"}, {"latitude", "22.51"}, {"serial_number", "1"}}));
  EXPECT_EQ(androidPoint.at("day_stamp"), "1710460800");
  EXPECT_EQ(androidPoint.at("start_stamp"), "1710489605");
  EXPECT_EQ(androidPoint.at("longitude"), "121.473700");
  EXPECT_EQ(androidPoint.at("latitude"), "31.230400");
  EXPECT_EQ(androidPoint.at("serial_number"), "1");
  VEQSDKUtility::setTimeZone("");
}

}  // namespace
}  // namespace veq
