// sleep.cpp — legacy iOS sleeps ("t_sleep_head") and their stretches
// ("t_sleep_item") → the new sleep day and sleep item records.
//
// A sleep record is keyed by its start, not by its day: the legacy head keeps
// the day on which the sleep ended, the end time and the length, and a sleep
// that started before midnight started on the evening before.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/ios_health/legacy_item.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::jkdbSleepDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const auto row = veqLegacyDayRow(dic);
  if (!row) return true;  // skipped
  const int64_t itemCount =
      veqLegacyRowCount(oldQueue, "t_sleep_item", fmt::format("date = {}", row->date), row->macAddr());

  const int64_t endHour = dic.integerForKey("end_time_hour");
  const int64_t endMinute = dic.integerForKey("end_time_minute");
  const int64_t totalMinutes = dic.integerForKey("total_minute");
  const std::string startStamp = std::to_string(
      veqSleepStartStamp(VEQValue(row->day.dayStamp).integerValue(), endHour, endMinute, totalMinutes));

  const VEQDateComponents& c = row->day.components;
  VEQHealthRecord record(VEQHealthTable::kSleep, {
      {"mac_addr", row->macAddr()},
      {"upload_state", int64_t{0}},
      {"start_stamp", startStamp},
      {"day_stamp", row->day.dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
      {"date_text", ""},
      {"sleep_score", int64_t{0}},
      {"deep_minutes", dic.integerForKey("deep_sleep_minute")},
      {"light_minutes", dic.integerForKey("ligth_sleep_minute")},
      {"awake_minutes", dic.integerForKey("wake_minute")},
      {"awake_count", dic.integerForKey("wake_count")},
      {"deep_count", dic.integerForKey("deep_sleep_count")},
      {"light_count", dic.integerForKey("light_sleep_count")},
      {"total_minutes", totalMinutes},
      {"end_minute", endMinute},
      {"end_hour", endHour},
      {"item_count", itemCount},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySleepExistSqlStr(startStamp, row->macAddr()),
                        std::move(record));
  return true;
}

const VEQLegacyItemTable kSleepItems = {VEQHealthTable::kSleepItem, &VEQSyncSqlManager::querySleepItemExistSqlStr};

bool VEQProDBManager::jkdbSleepItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  return veqMigrateLegacyItem(dic, database, kSleepItems,
                              [&dic](VEQHealthRecord& record, const std::string& dayStamp) {
                                // The legacy store keeps only the stretch's
                                // day, which then stands for its own stamp.
                                record.set("stage_stamp", dayStamp)
                                    .set("duration", dic.integerForKey("durations"))
                                    .set("sleep_state", dic.integerForKey("sleep_status"));
                              });
}

}  // namespace veq
