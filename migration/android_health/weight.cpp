// weight.cpp — Android weighings ("ADDWEIGHTDADA") → the new weight records.
//
// Weight belongs to the user: no device is resolved, and the record is found
// by its day alone, so a later weighing of the same day overwrites it.
// Weights are written with one decimal; a previous weight above 400.0 was
// stored in tenths and is scaled back (the weight itself never is).
//
// Skipped (reported YES): a row without a positive "date". A written row
// reports YES whatever the statement did.
#include <fmt/format.h>

#include "collaborators/sync_sql_manager.h"
#include "migration/android_health/day.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

bool VEQProDBManager::androidWeightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  const auto time = veqAndroidTime(dic.integerForKey("date"));
  if (!time) return true;
  double lastWeight = dic.doubleForKey("lastWeightValue");
  if (lastWeight > 400.0) lastWeight /= 10.0;
  // The unit passes as the row holds it; a missing one is the empty text.
  const VEQValue unit = dic["weightUnit"].isNull() ? VEQValue("") : dic["weightUnit"];
  const VEQDateComponents& c = time->components;
  VEQHealthRecord record(VEQHealthTable::kWeight, {
      // The legacy store kept no body composition.
      {"bmi", ""},
      {"body_fat_rate", ""},
      {"muscle_mass", ""},
      {"water_rate", ""},
      {"bone_mass", ""},
      {"visceral_fat", ""},
      {"basal_metabolism", ""},
      {"hand_entered", 0},
      {"last_weight", fmt::format("{:.1f}", lastWeight)},
      {"weight_unit", unit},
      {"display_unit", unit},
      {"weight", fmt::format("{:.1f}", dic.doubleForKey("weightValue"))},
      {"measure_stamp", time->timeStamp},
      {"day_stamp", time->dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryWeightExistSqlStr(time->dayStamp), std::move(record));
  return true;
}

}  // namespace veq
