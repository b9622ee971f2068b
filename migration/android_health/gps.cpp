// gps.cpp — Android workout tracks ("HEALTH_GPS") and their points
// ("HEALTH_GPS_ITEM") → the new GPS track and point records.
//
// Both are keyed by the track's start time; the Android store keeps no day
// stamp, so both are written in the short record layout and the statements
// derive the day (docs/health_schema.md). Points are numbered per track in
// table order and keep their coordinates as "%lf" texts, longitude first.
//
// Skipped (reported YES): an unknown device, a track or point without a
// positive "DATE". A written row reports YES whatever the statement did.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidGpsDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                     VEQFMDatabase* database) {
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kGpsTrack, dic, oldQueue);
  if (!device) return true;
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  VEQHealthRecord record(VEQHealthTable::kGps, {
      {"mac_addr", device->macAddr},
      {"track_name", ""},
      {"coordinate_system", 1},
      {"point_interval", dic.integerForKey("DATA_INTERVAL")},
      {"point_count", veqAndroidItemCount(VEQAndroidRowKind::kGpsPoint, dic, *device, oldQueue)},
      {"start_stamp", time->timeStamp},
  }, VEQRecordLayout::kShort);
  veqSetTimeOfDayColumns(record, time->components);
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryGpsExistSqlStr(time->timeStamp, device->macAddr),
                        std::move(record));
  return true;
}

bool VEQProDBManager::androidGpsItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                         VEQFMDatabase* database) {
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kGpsPoint, dic, oldQueue);
  if (!device) return true;
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  const int32_t serial = nextSerialNumberForStamp(time->timeStamp);
  VEQHealthRecord record(VEQHealthTable::kGpsPoint, {
      {"mac_addr", device->macAddr},
      {"start_stamp", time->timeStamp},
      {"longitude", fmt::format("{:f}", dic.doubleForKey("LONGITUDE"))},
      {"latitude", fmt::format("{:f}", dic.doubleForKey("LATITUDE"))},
      {"serial_number", serial},
  }, VEQRecordLayout::kShort);
  veqUpsertHealthRecord(database,
                        VEQSyncSqlManager::queryGpsItemExistSqlStr(time->timeStamp, serial, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
