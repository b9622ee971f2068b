// activity.cpp — legacy iOS workouts ("t_active_data") → the new activity
// records.
//
// Two routines write the same record: the legacy iOS driver's, and the
// health driver's more tolerant one, which also takes the older
// started-on-device flag and stores heart-rate samples kept as texts as
// integers. An activity is keyed by device and start; a workout of more than
// one day is a recording fault and is not migrated.
#include "collaborators/json.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

enum class Tolerance { kStrict, kTolerant };

// The heart-rate samples of "hr_value" ({"hr": {"0": [samples…]}}) as the
// text of a JSON array; anything of another shape gives "[]".
std::string repackedSamples(const std::string& hrValue, Tolerance tolerance) {
  VEQArray samples;
  const VEQValue object = stringToObject(hrValue);
  const VEQValue& list = object.dict()["hr"].dict()["0"];
  for (const VEQValue& sample : list.array()) {
    samples.push_back(tolerance == Tolerance::kTolerant ? VEQValue(sample.integerValue()) : sample);
  }
  return objectToJsonString(VEQValue(std::move(samples))).value_or("");
}

bool migrateActivity(const VEQDict& dic, VEQFMDatabase* database, Tolerance tolerance) {
  const std::string macAddr = dic.stringForKey("smart_device_id");
  if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const std::string timeString = dic.stringForKey("time_string");
  if (VEQValue(timeString).integerValue() < 1) return veqSkipRow(VEQSkipReason::kNoDate);
  const int64_t durations = dic.integerForKey("durations");
  if (durations > kSecondsPerDay) return veqSkipRow(VEQSkipReason::kDurationOverOneDay);

  const VEQLegacyMoment start = veqLegacyMoment(timeString);
  // Older firmware set the second flag instead; only the tolerant routine
  // reads it.
  const bool startedOnDevice = dic.boolForKey("is_ble_start") ||
                               (tolerance == Tolerance::kTolerant && dic.boolForKey("is_the_ble_start"));
  VEQHealthRecord record(VEQHealthTable::kActivity, {
      {"mac_addr", macAddr},
      {"started_on_device", startedOnDevice},
      {"saved", dic.boolForKey("is_save")},
      {"hr_values", repackedSamples(dic.stringForKey("hr_value"), tolerance)},
      {"warm_up_mins", int64_t{0}},
      {"anaerobic_mins", int64_t{0}},
      {"limit_mins", dic.integerForKey("limit_mins")},
      {"aerobic_mins", dic.integerForKey("aerobic_mins")},
      {"burn_fat_mins", dic.integerForKey("burn_fat_mins")},
      {"max_hr", dic.integerForKey("max_hr_value")},
      {"avg_hr", dic.integerForKey("avg_hr_value")},
      {"distance", dic.integerForKey("distance")},
      {"calories", dic.integerForKey("calories")},
      {"duration", durations},
      {"steps", dic.integerForKey("step")},
      {"activity_type", dic.integerForKey("type")},
      {"packet_count", dic.integerForKey("packet_count")},
      {"hr_item_count", dic.integerForKey("hr_item_count")},
      {"hr_interval_minutes", dic.integerForKey("hr_data_interval_minute")},
      {"data_length", dic.integerForKey("data_length")},
      {"start_stamp", start.stamp},
      {"day_stamp", start.dayStamp},
  });
  veqSetMomentColumns(record, start.components);
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryActivityExistSqlStr(start.stamp, macAddr),
                        std::move(record));
  return true;
}

}  // namespace

bool VEQProDBManager::jkdbActivityDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                       VEQFMDatabase* database) {
  return migrateActivity(dic, database, Tolerance::kStrict);
}

bool VEQProDBManager::iosActiveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                    VEQFMDatabase* database) {
  return migrateActivity(dic, database, Tolerance::kTolerant);
}

}  // namespace veq
