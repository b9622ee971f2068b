// blood_pressure.cpp — legacy iOS blood-pressure days ("t_blood_presure")
// and measurements ("t_blood_item") → the new blood-pressure day and item
// records.
//
// Both legacy tables keep their day as the time stamp of its start: the day
// row in "date", the measurement in "timeString". Measurements carry no
// number: they are numbered 1, 2, 3 … per day in table order.
#include <fmt/format.h>

#include "collaborators/sdk_utility.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

bool VEQProDBManager::iosBpDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const std::string date = std::to_string(dic.integerForKey("date"));
  if (VEQValue(date).integerValue() < 1) return veqSkipRow(VEQSkipReason::kNoDate);

  // The count comes from the legacy measurements, not from the row's own
  // "item_count".
  const int64_t itemCount =
      veqLegacyRowCount(oldQueue, "t_blood_item", fmt::format("timeString = '{}'", date), macAddr);
  // The record's stamp is the normalised day start itself, not the start of
  // its calendar day.
  VEQDateComponents c;
  const std::string dayStamp =
      VEQProDBManager::newTimeStampWithOldTimeStr(VEQSDKUtility::get1970timeTempWithDateStr(date), &c);

  VEQHealthRecord record(VEQHealthTable::kBloodPressure, {
      {"mac_addr", macAddr},
      {"upload_state", 0},
      {"start_minute", dic.integerForKey("minute_offset")},
      {"day_stamp", dayStamp},
      {"date_text", ""},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
      {"systolic", dic.integerForKey("sys_blood")},
      {"diastolic", dic.integerForKey("dias_blood")},
      {"item_count", itemCount},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryBpExistSqlStr(dayStamp, macAddr), std::move(record));
  return true;
}

bool VEQProDBManager::iosBpItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                    VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const std::string timeString = dic.stringForKey("timeString");
  if (VEQValue(timeString).integerValue() <= 0) return veqSkipRow(VEQSkipReason::kNoDate);

  // Only the calendar day of the normalised stamp counts.
  const std::string dayStamp = veqLegacyMoment(timeString).dayStamp;
  const int32_t serial = nextSerialNumberForStamp(dayStamp);

  VEQHealthRecord record(VEQHealthTable::kBloodPressureItem, {
      {"mac_addr", macAddr},
      {"upload_state", 0},
      {"measure_stamp", std::to_string(dic.integerForKey("timeString"))},
      {"day_stamp", dayStamp},
      {"serial_number", serial},
      {"offset_minute", dic.integerForKey("offset")},
      {"diastolic", dic.integerForKey("dias_blood")},
      {"systolic", dic.integerForKey("sys_blood")},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryBpItemExistSqlStr(dayStamp, serial, macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
