// sport.cpp — legacy iOS sport days ("t_sport_data") and their intervals
// ("t_sport_item") → the new sport day and sport item records.
//
// Both routines skip a row without a device key or without a day and report
// YES for it (outcome skipped, with the reason); a written row reports YES
// whatever the statement did.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/ios_health/legacy_item.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::jkdbSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const auto row = veqLegacyDayRow(dic);
  if (!row) return true;  // skipped
  // The day's item count comes from the legacy item table, not from the
  // row's own "items_count", which older firmware did not keep in step.
  const int64_t itemCount =
      veqLegacyRowCount(oldQueue, "t_sport_item", fmt::format("date = {}", row->date), row->macAddr());

  const VEQDateComponents& c = row->day.components;
  VEQHealthRecord record(VEQHealthTable::kSport, {
      {"mac_addr", row->macAddr()},
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
      {"day_stamp", row->day.dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
      {"recorded_item_count", itemCount},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportExistSqlStr(row->day.dayStamp, row->macAddr()),
                        std::move(record));
  return true;
}

const VEQLegacyItemTable kSportItems = {VEQHealthTable::kSportItem, &VEQSyncSqlManager::querySportItemExistSqlStr};

bool VEQProDBManager::jkdbSportDataItemMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  return veqMigrateLegacyItem(dic, database, kSportItems,
                              [&dic](VEQHealthRecord& record, const std::string& /*dayStamp*/) {
                                record.set("distance", dic.integerForKey("distance"))
                                    .set("calories", dic.integerForKey("calories"))
                                    .set("active_time", dic.integerForKey("active_time"))
                                    .set("steps", dic.integerForKey("sport_count"))
                                    .set("sport_mode", dic.integerForKey("mode"));
                              });
}

}  // namespace veq
