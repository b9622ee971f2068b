// gps.cpp — legacy iOS GPS points ("t_gps_data") → the new GPS track heads
// and points.
//
// The legacy table holds one row per point; the points of one track share
// its start ("time") and device. The first row met of a track inserts the
// track's head, which is then never rewritten; every row writes its point.
// Points carry no number of their own: they are numbered 1, 2, 3 … per track
// in table order, which relies on a track's points being stored one after
// another (a track met again after another restarts at 1).
#include <string>

#include "collaborators/sdk_utility.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

bool VEQProDBManager::jkdbGpsDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                  VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const std::string time = dic.stringForKey("time");
  if (VEQValue(time).integerValue() <= 0) return veqSkipRow(VEQSkipReason::kNoDate);

  const int64_t pointCount = veqLegacyRowCount(oldQueue, "t_gps_data", "time = '" + time + "'", macAddr);
  const VEQLegacyMoment start = veqLegacyMoment(VEQSDKUtility::timeStampFromtimeStr(time));

  VEQHealthRecord head(VEQHealthTable::kGps, {
      {"mac_addr", macAddr},
      {"track_name", ""},
      {"coordinate_system", 1},
      {"point_interval", dic.intForKey("interval")},
      {"point_count", pointCount},
      {"day_stamp", start.dayStamp},
      {"start_stamp", start.stamp},
  });
  veqSetMomentColumns(head, start.components);
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryGpsExistSqlStr(start.stamp, macAddr), std::move(head),
                        VEQHealthWrite::kInsertOnce);

  const int32_t serial = nextSerialNumberForStamp(start.stamp);
  VEQHealthRecord point(VEQHealthTable::kGpsPoint, {
      {"mac_addr", macAddr},
      {"day_stamp", start.dayStamp},
      {"start_stamp", start.stamp},
      {"longitude", dic.stringForKey("longitudeStr")},
      {"latitude", dic.stringForKey("latitudeStr")},
      {"serial_number", serial},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryGpsItemExistSqlStr(start.stamp, serial, macAddr),
                        std::move(point));
  return true;
}

}  // namespace veq
