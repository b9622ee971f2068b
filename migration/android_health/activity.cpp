// activity.cpp — Android workouts ("ACTIVITY_DATA") → the new activity
// records.
//
// The workout's values sit in one JSON object in the row's "ACTIVITY_DATA"
// column; a text that does not parse reads as an empty object (every value
// 0, no heart rates). The row's "DATE" is the workout's start; a negative
// one was never set and the object's own "date" stands in for it.
//
// Heart rates come in two shapes: "hr", an object of arrays, whose arrays
// are joined into one JSON array in the order the object holds them
// (members that are not arrays add nothing); or, without such an object,
// "hr_data_vlaue", bound as it stands when it is an object and written as
// JSON otherwise (a value that is not a collection gives the empty text).
//
// Skipped (reported YES): a start below 1, an unknown device, a workout of
// more than one day (86400 seconds). A written row reports YES whatever the
// statement did.
#include "collaborators/json.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

VEQValue heartRates(const VEQDict& workout) {
  const VEQValue& grouped = workout["hr"];
  if (grouped.isDict()) {
    VEQArray joined;
    const VEQDict& groups = grouped.dict();
    for (size_t i = 0; i < groups.size(); ++i) {
      const VEQArray& group = groups.valueAt(i).array();
      joined.insert(joined.end(), group.begin(), group.end());
    }
    return objectToJsonString(VEQValue(std::move(joined))).value_or("");
  }
  const VEQValue& series = workout["hr_data_vlaue"];
  if (series.isDict()) return series;
  return objectToJsonString(series).value_or("");
}

}  // namespace

bool VEQProDBManager::androidActiveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                        VEQFMDatabase* database) {
  const VEQValue parsed = stringToObject(dic.stringForKey("ACTIVITY_DATA"));
  const VEQDict& workout = parsed.dict();
  int64_t start = dic.integerForKey("DATE");
  if (start < 0) start = workout.integerForKey("date");
  const auto time = veqAndroidTime(start);
  if (!time) return true;
  const auto device = veqAndroidDevice(VEQAndroidRowKind::kActivity, dic, oldQueue);
  if (!device) return true;
  const int64_t duration = workout.integerForKey("durations");
  if (duration > kSecondsPerDay) return veqSkipRow(VEQSkipReason::kDurationOverOneDay);

  VEQHealthRecord record(VEQHealthTable::kActivity, {
      {"mac_addr", device->macAddr},
      {"started_on_device", workout.boolForKey("isDeviceSend")},
      {"saved", workout.boolForKey("isSave")},
      {"hr_values", heartRates(workout)},
      {"warm_up_mins", 0},
      {"anaerobic_mins", 0},
      {"limit_mins", workout.integerForKey("limit_mins")},
      {"aerobic_mins", workout.integerForKey("aerobic_mins")},
      {"burn_fat_mins", workout.integerForKey("burn_fat_mins")},
      {"max_hr", workout.integerForKey("max_hr_value")},
      {"avg_hr", workout.integerForKey("avg_hr_value")},
      {"distance", workout.integerForKey("distance")},
      {"calories", workout.integerForKey("calories")},
      {"duration", duration},
      {"steps", workout.integerForKey("step")},
      {"activity_type", workout.integerForKey("type")},
      {"packet_count", workout.integerForKey("packet_count")},
      {"hr_item_count", workout.integerForKey("hr_item_count")},
      {"hr_interval_minutes", workout.integerForKey("hr_data_interval_minute")},
      {"data_length", workout.integerForKey("data_length")},
      {"start_stamp", time->timeStamp},
      {"day_stamp", time->dayStamp},
  });
  veqSetTimeOfDayColumns(record, time->components);
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryActivityExistSqlStr(time->timeStamp, device->macAddr),
                        std::move(record));
  return true;
}

}  // namespace veq
