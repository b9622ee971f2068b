// sport.cpp — Android step days ("HEALTH_SPORT") and their intervals
// ("HEALTH_SPORT_ITEM") → the new sport day and sport item records.
//
// A day keeps both item counts: the items the legacy store holds for it and
// the count its own row recorded, which older firmware did not keep in step.
//
// Skipped (reported YES): an unknown device, a day of 1970, an item without
// a positive "DATE". A written row reports YES whatever the statement did.
#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                       VEQFMDatabase* database) {
  const auto day = veqAndroidDay(VEQAndroidRowKind::kSportDay, dic, oldQueue);
  if (!day) return true;
  const std::string& macAddr = day->device.macAddr;
  VEQHealthRecord record(VEQHealthTable::kSport, {
      {"mac_addr", macAddr},
      {"upload_state", 0},
      {"item_count", veqAndroidItemCount(VEQAndroidRowKind::kSportItem, dic, day->device, oldQueue)},
      {"step_goal", 0},  // the Android store kept no goal per day
      {"interval_minutes", dic.integerForKey("TIME_SPACE")},
      {"start_minute", dic.integerForKey("START_TIME")},
      {"total_active_time", dic.integerForKey("TOTAL_ACTIVE_TIME")},
      {"total_distance", dic.integerForKey("TOTAL_DISTANCE")},
      {"total_calories", dic.integerForKey("TOTAL_CALORY")},
      {"total_steps", dic.integerForKey("TOTAL_STEP_COUNT")},
      {"date_text", ""},
      {"day_stamp", day->dayStamp},
      {"day", day->day},
      {"month", day->month},
      {"year", day->year},
      {"recorded_item_count", dic.integerForKey("items_count")},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportExistSqlStr(day->dayStamp, macAddr),
                        std::move(record));
  return true;
}

bool VEQProDBManager::androidSportItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                           VEQFMDatabase* database) {
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kSportItem, dic, oldQueue);
  if (!device) return true;
  const int64_t serial = veqAndroidItemSerial(dic, time->dayStamp);
  VEQHealthRecord record(VEQHealthTable::kSportItem, {
      {"mac_addr", device->macAddr},
      {"serial_number", serial},
      {"day_stamp", time->dayStamp},
      {"distance", dic.integerForKey("DISTANCE")},
      {"calories", dic.integerForKey("CALORY")},
      {"active_time", dic.integerForKey("ACTIVE_TIME")},
      {"steps", dic.integerForKey("STEP_COUNT")},
      {"sport_mode", dic.integerForKey("MODE")},
  });
  veqUpsertHealthRecord(database,
                        VEQSyncSqlManager::querySportItemExistSqlStr(time->dayStamp, serial, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
