// heart_rate.cpp — legacy iOS heart-rate days ("t_heart_rate_data") and
// measurements ("t_heart_rate_item") → the new heart-rate day and item
// records.
//
// The legacy day keeps the three training zones (fat burning, aerobic,
// limit) with their thresholds and minutes; the new record lists them from
// the limit zone down. Average, minimum, warm-up and anaerobic values were
// never recorded and are 0.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/ios_health/legacy_item.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::jkdbHrDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                 VEQFMDatabase* database) {
  const auto row = veqLegacyDayRow(dic);
  if (!row) return true;  // skipped
  const int64_t itemCount =
      veqLegacyRowCount(oldQueue, "t_heart_rate_item", fmt::format("date = {}", row->date), row->macAddr());

  const VEQDateComponents& c = row->day.components;
  VEQHealthRecord record(VEQHealthTable::kHeartRate, {
      {"mac_addr", row->macAddr()},
      {"day_stamp", row->day.dayStamp},
      {"date_text", ""},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
      {"avg_hr", int64_t{0}},
      {"min_hr", int64_t{0}},
      {"warm_up_mins", int64_t{0}},
      {"anaerobic_mins", int64_t{0}},
      {"max_hr", dic.integerForKey("user_max_hr")},
      {"limit_mins", dic.integerForKey("limit_mins")},
      {"aerobic_mins", dic.integerForKey("aerobic_mins")},
      {"burn_fat_mins", dic.integerForKey("burn_fat_mins")},
      {"limit_threshold", dic.integerForKey("limit_threshold")},
      {"aerobic_threshold", dic.integerForKey("aerobic_threshold")},
      {"burn_fat_threshold", dic.integerForKey("burn_fat_threshold")},
      {"resting_hr", dic.integerForKey("silent_heart_rate")},
      {"start_minute", dic.integerForKey("minute_offset")},
      {"item_count", itemCount},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryHrExistSqlStr(row->day.dayStamp, row->macAddr()),
                        std::move(record));
  return true;
}

const VEQLegacyItemTable kHrItems = {VEQHealthTable::kHeartRateItem, &VEQSyncSqlManager::queryHrItemExistSqlStr};

bool VEQProDBManager::jkdbHrItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                     VEQFMDatabase* database) {
  return veqMigrateLegacyItem(dic, database, kHrItems,
                              [&dic](VEQHealthRecord& record, const std::string& /*dayStamp*/) {
                                record.set("heart_rate", dic.integerForKey("data"))
                                    .set("offset_minute", dic.integerForKey("offset"));
                              });
}

}  // namespace veq
