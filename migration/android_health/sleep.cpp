// sleep.cpp — Android nights ("HEALTH_SLEEP") and their stretches of one
// sleep state ("HEALTH_SLEEP_ITEM") → the new sleep and sleep item records.
//
// A night is keyed by the time its sleep began, computed back from its end
// and length; one that ended after less sleep than the minutes since
// midnight began on the evening before. Awake minutes are what the total
// leaves beside light and deep sleep, never below 0.
//
// Skipped (reported YES): an unknown device, a night of 1970, an item
// without a positive "DATE". A written row reports YES whatever the
// statement did.
#include <algorithm>

#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidSleepDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                       VEQFMDatabase* database) {
  const auto day = veqAndroidDay(VEQAndroidRowKind::kSleepDay, dic, oldQueue);
  if (!day) return true;
  const std::string& macAddr = day->device.macAddr;
  const int64_t total = dic.integerForKey("TOTAL_SLEEP_MINUTES");
  const int64_t light = dic.integerForKey("LIGHT_SLEEP_MINUTES");
  const int64_t deep = dic.integerForKey("DEEP_SLEEP_MINUTES");
  const int64_t endHour = dic.integerForKey("SLEEP_ENDED_TIME_H");
  const int64_t endMinute = dic.integerForKey("SLEEP_ENDED_TIME_M");
  const std::string start =
      fmt::format("{}", veqSleepStartStamp(VEQValue(day->dayStamp).integerValue(), endHour, endMinute, total));

  VEQHealthRecord record(VEQHealthTable::kSleep, {
      {"mac_addr", macAddr},
      {"upload_state", 0},
      {"start_stamp", start},
      {"day_stamp", day->dayStamp},
      {"day", day->day},
      {"month", day->month},
      {"year", day->year},
      {"date_text", ""},
      {"sleep_score", 0},
      {"deep_minutes", deep},
      {"light_minutes", light},
      {"awake_minutes", std::max<int64_t>(0, veqWrappingSubtract(total, veqWrappingAdd(light, deep)))},
      {"awake_count", dic.integerForKey("AWAKE_COUNT")},
      {"deep_count", dic.integerForKey("DEEP_SLEEP_COUNT")},
      {"light_count", dic.integerForKey("LIGHT_SLEEP_COUNT")},
      {"total_minutes", total},
      {"end_minute", endMinute},
      {"end_hour", endHour},
      {"item_count", veqAndroidItemCount(VEQAndroidRowKind::kSleepItem, dic, day->device, oldQueue)},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySleepExistSqlStr(start, macAddr), std::move(record));
  return true;
}

bool VEQProDBManager::androidSleepItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                           VEQFMDatabase* database) {
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kSleepItem, dic, oldQueue);
  if (!device) return true;
  const int64_t serial = veqAndroidItemSerial(dic, time->dayStamp);
  VEQHealthRecord record(VEQHealthTable::kSleepItem, {
      {"mac_addr", device->macAddr},
      {"serial_number", serial},
      {"day_stamp", time->dayStamp},
      // The legacy store kept only the stretch's day.
      {"stage_stamp", time->dayStamp},
      {"duration", dic.integerForKey("OFFSET_MINUTE")},
      {"sleep_state", dic.integerForKey("SLEEP_STATUS")},
  });
  veqUpsertHealthRecord(database,
                        VEQSyncSqlManager::querySleepItemExistSqlStr(time->dayStamp, serial, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
