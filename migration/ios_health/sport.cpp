// sport.cpp — legacy iOS sport days ("t_sport_data") and their intervals
// ("t_sport_item") → the new sport day and sport item records.
//
// Both routines skip a row without a device key or without a day and report
// YES for it; a written row reports YES whatever the statement did.
#include <fmt/format.h>

#include "collaborators/old_db_manager.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::jkdbSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                    VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return true;
  const int64_t date = dic.integerForKey("date");
  if (date < 1) return true;

  // The day's item count comes from the legacy item table, not from the
  // row's own "items_count", which older firmware did not keep in step.
  const int64_t itemCount = VEQOldDBManager::getOneTableCountWithDbQueue(
      oldQueue, "t_sport_item",
      fmt::format("SELECT * FROM t_sport_item WHERE date = {} AND smart_device_id = '{}'", date, macAddr));
  const auto day = veqLegacyDay(date);
  if (!day) return true;

  const VEQDateComponents& c = day->components;
  VEQArray values{
      macAddr,
      int64_t{0},
      itemCount,
      dic.integerForKey("goal_sport_data"),
      dic.integerForKey("per_minute"),
      dic.integerForKey("minute_offset"),
      dic.integerForKey("total_active_time"),
      dic.integerForKey("total_distances"),
      dic.integerForKey("total_cal"),
      dic.integerForKey("total_step"),
      "",
      day->dayStamp,
      c.day,
      c.month,
      c.year,
      itemCount,
  };
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportExistSqlStr(day->dayStamp, macAddr),
                        std::move(values), sql.sportUpdateSqlStr(), sql.sportInsertSqlStr());
  return true;
}

bool VEQProDBManager::jkdbSportDataItemMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return true;
  const auto day = veqLegacyDay(dic.integerForKey("date"));
  if (!day) return true;

  // Items that carry no number of their own are numbered per day in table
  // order; numbered items keep theirs and leave the run's counter alone.
  int64_t serial = dic.integerForKey("serial_number");
  if (serial == 0) serial = nextSerialNumberForStamp(day->dayStamp);

  VEQArray values{
      macAddr,
      serial,
      day->dayStamp,
      dic.integerForKey("distance"),
      dic.integerForKey("calories"),
      dic.integerForKey("active_time"),
      dic.integerForKey("sport_count"),
      dic.integerForKey("mode"),
  };
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  veqUpsertHealthRecord(database, VEQSyncSqlManager::querySportItemExistSqlStr(day->dayStamp, serial, macAddr),
                        std::move(values), sql.sportItemUpdateSqlStr(), sql.sportItemInsertSqlStr());
  return true;
}

}  // namespace veq
