// weight.cpp — Android weighings ("ADDWEIGHTDADA") → the new weight records
// (weight_record.h: keyed by the day, no body composition).
//
// Weights are written with one decimal; a previous weight above 400.0 was
// stored in tenths and is scaled back (the weight itself never is).
//
// Skipped (reported YES): a row without a positive "date". A written row
// reports YES whatever the statement did.
#include <fmt/format.h>

#include "migration/android_health/day.h"
#include "migration/pro_db_manager.h"
#include "migration/weight_record.h"

namespace veq {

bool VEQProDBManager::androidWeightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                        VEQFMDatabase* database) {
  const auto time = veqAndroidTime(dic.integerForKey("date"));
  if (!time) return true;
  double lastWeight = dic.doubleForKey("lastWeightValue");
  if (lastWeight > 400.0) lastWeight /= 10.0;
  // The unit passes as the row holds it; a missing one is the empty text.
  const VEQValue unit = dic["weightUnit"].isNull() ? VEQValue("") : dic["weightUnit"];
  veqWriteWeightRecord(database, {
      .unit = unit,
      .lastWeight = fmt::format("{:.1f}", lastWeight),
      .handEntered = 0,
      .weight = fmt::format("{:.1f}", dic.doubleForKey("weightValue")),
      .measureStamp = time->timeStamp,
      .dayStamp = time->dayStamp,
      .components = time->components,
  });
  return true;
}

}  // namespace veq
