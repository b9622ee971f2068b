// heart_rate.cpp — Android heart-rate days ("HEALTH_HEART_RATE") and their
// measurements ("HEALTH_HEART_RATE_ITEM") → the new heart-rate day and item
// records.
//
// Skipped (reported YES): an unknown device, a day row of 1970, an item
// without a positive "DATE". A written row reports YES whatever the
// statement did.
#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidHrDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const auto day = veqAndroidDay(VEQAndroidRowKind::kHeartRateDay, dic, oldQueue);
  if (!day) return true;
  const std::string& macAddr = day->device.macAddr;
  VEQHealthRecord record(VEQHealthTable::kHeartRate, {
      {"mac_addr", macAddr},
      {"day_stamp", day->dayStamp},
      {"date_text", ""},
      {"day", day->day},
      {"month", day->month},
      {"year", day->year},
      // The legacy store kept no average, minimum, warm-up or anaerobic value.
      {"avg_hr", 0},
      {"min_hr", 0},
      {"warm_up_mins", 0},
      {"anaerobic_mins", 0},
      {"max_hr", dic.integerForKey("USER_MAX_HR")},
      {"limit_mins", dic.integerForKey("LIMIT_MINS")},
      {"aerobic_mins", dic.integerForKey("AEROBIC_MINS")},
      {"burn_fat_mins", dic.integerForKey("BURN_FAT_MINS")},
      {"limit_threshold", dic.integerForKey("LIMIT_THRESHOLD")},
      {"aerobic_threshold", dic.integerForKey("AEROBIC_THRESHOLD")},
      {"burn_fat_threshold", dic.integerForKey("BURN_FAT_THRESHOLD")},
      {"resting_hr", dic.integerForKey("SILENT_HEART")},
      {"start_minute", dic.integerForKey("START_TIME")},
      {"item_count", veqAndroidItemCount(VEQAndroidRowKind::kHeartRateItem, dic, day->device, oldQueue)},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryHrExistSqlStr(day->dayStamp, macAddr), std::move(record));
  return true;
}

bool VEQProDBManager::androidHrItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                        VEQFMDatabase* database) {
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kHeartRateItem, dic, oldQueue);
  if (!device) return true;
  const int32_t serial = nextSerialNumberForStamp(time->dayStamp);
  VEQHealthRecord record(VEQHealthTable::kHeartRateItem, {
      {"mac_addr", device->macAddr},
      {"serial_number", serial},
      {"day_stamp", time->dayStamp},
      {"heart_rate", dic.integerForKey("HEART_RAVE_VALUE")},
      {"offset_minute", dic.integerForKey("OFFSET_MINUTE")},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryHrItemExistSqlStr(time->dayStamp, serial, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
