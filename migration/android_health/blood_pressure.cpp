// blood_pressure.cpp — Android blood-pressure days ("HEALTH_BLOOD_PRESSED")
// and their measurements ("HEALTH_BLOOD_PRESSED_ITEM") → the new
// blood-pressure day and item records.
//
// A measurement's time is its day's stamp plus the hour and minute of its
// legacy time; the legacy items carry no number, so every one is numbered
// per day in table order.
//
// Skipped (reported YES): an unknown device, a day of 1970, an item without
// a positive "DATE" (the device is resolved first, so an item of an unknown
// device is skipped as such). A written row reports YES whatever the
// statement did.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidBpDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const auto day = veqAndroidDay(VEQAndroidRowKind::kBloodPressureDay, dic, oldQueue);
  if (!day) return true;
  const std::string& macAddr = day->device.macAddr;
  VEQHealthRecord record(VEQHealthTable::kBloodPressure, {
      {"mac_addr", macAddr},
      {"upload_state", 0},
      {"start_minute", dic.integerForKey("MINUTE_OFFSET")},
      {"day_stamp", day->dayStamp},
      {"date_text", ""},
      {"day", day->day},
      {"month", day->month},
      {"year", day->year},
      {"systolic", dic.integerForKey("MAX_BP")},
      {"diastolic", dic.integerForKey("SLEEP_AVG_BP")},
      {"item_count", veqAndroidItemCount(VEQAndroidRowKind::kBloodPressureItem, dic, day->device, oldQueue)},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryBpExistSqlStr(day->dayStamp, macAddr), std::move(record));
  return true;
}

bool VEQProDBManager::androidBpItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                        VEQFMDatabase* database) {
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kBloodPressureItem, dic, oldQueue);
  if (!device) return true;
  const auto time = veqAndroidTime(dic.integerForKey("DATE"));
  if (!time) return true;
  const VEQDateComponents& c = time->components;
  const std::string measured =
      fmt::format("{}", c.hour * 3600 + VEQValue(time->dayStamp).integerValue() + c.minute * 60);
  const int32_t serial = nextSerialNumberForStamp(time->dayStamp);
  VEQHealthRecord record(VEQHealthTable::kBloodPressureItem, {
      {"mac_addr", device->macAddr},
      {"upload_state", 0},
      {"measure_stamp", measured},
      {"day_stamp", time->dayStamp},
      {"serial_number", serial},
      {"offset_minute", dic.integerForKey("OFFSET")},
      {"diastolic", dic.integerForKey("DIAS_BLOOD")},
      {"systolic", dic.integerForKey("SYS_BLOOD")},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryBpItemExistSqlStr(time->dayStamp, serial, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
