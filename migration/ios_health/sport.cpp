// sport.cpp — legacy iOS sport days ("t_sport_data") and their intervals
// ("t_sport_item") → the new sport day and sport item records.
//
// Both routines skip a row without a device key or without a day and report
// YES for it (outcome skipped, with the reason); a written row reports YES
// whatever the statement did.
#include <fmt/format.h>

#include "collaborators/old_db_manager.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

bool VEQProDBManager::jkdbSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const int64_t date = dic.integerForKey("date");
  if (date < 1) return veqSkipRow(VEQSkipReason::kNoDate);

  // The day's item count comes from the legacy item table, not from the
  // row's own "items_count", which older firmware did not keep in step.
  const int64_t itemCount = VEQOldDBManager::getOneTableCountWithDbQueue(
      oldQueue, "t_sport_item",
      fmt::format("SELECT * FROM t_sport_item WHERE date = {} AND smart_device_id = '{}'", date, macAddr));
  const auto day = veqLegacyDay(date);
  if (!day) return veqSkipRow(VEQSkipReason::kNoDate);

  const VEQDateComponents& c = day->components;
  VEQHealthRecord record(VEQHealthTable::kSport, {
      {"mac_addr", macAddr},
      {"upload_state", int64_t{0}},
      {"item_count", itemCount},
      {"step_goal", dic.integerForKey("goal_sport_data")},
      {"interval_minutes", dic.integerForKey("per_minute")},
      {"start_minute", dic.integerForKey("minute_offset")},
      {"total_active_time", dic.integerForKey("total_active_time")},
      {"total_distance", dic.integerForKey("total_distances")},
      {"total_calories", dic.integerForKey("total_cal")},
      {"total_steps", dic.integerForKey("total_step")},
      {"date_text", ""},
      {"day_stamp", day->dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
      {"recorded_item_count", itemCount},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportExistSqlStr(day->dayStamp, macAddr),
                        std::move(record));
  return true;
}

bool VEQProDBManager::jkdbSportDataItemMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const auto day = veqLegacyDay(dic.integerForKey("date"));
  if (!day) return veqSkipRow(VEQSkipReason::kNoDate);

  // Items that carry no number of their own are numbered per day in table
  // order; numbered items keep theirs and leave the run's counter alone.
  int64_t serial = dic.integerForKey("serial_number");
  if (serial == 0) serial = nextSerialNumberForStamp(day->dayStamp);

  VEQHealthRecord record(VEQHealthTable::kSportItem, {
      {"mac_addr", macAddr},
      {"serial_number", serial},
      {"day_stamp", day->dayStamp},
      {"distance", dic.integerForKey("distance")},
      {"calories", dic.integerForKey("calories")},
      {"active_time", dic.integerForKey("active_time")},
      {"steps", dic.integerForKey("sport_count")},
      {"sport_mode", dic.integerForKey("mode")},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportItemExistSqlStr(day->dayStamp, serial, macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
