// weight.cpp — legacy iOS weighings ("t_and_weight_data") → the new weight
// records (weight_record.h: keyed by the day, no body composition).
//
// The record carries no device key, yet a row without one is still skipped,
// as an incomplete legacy row. The weight is kept in the unit "1" and stands
// for the previous weight too.
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"
#include "migration/weight_record.h"

namespace veq {

bool VEQProDBManager::iosWeightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* /*oldQueue*/,
                                                    VEQFMDatabase* database) {
  if (dic.stringForKey("smart_device_id").empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  const std::string timeString = dic.stringForKey("time_string");
  if (VEQValue(timeString).integerValue() < 1) return veqSkipRow(VEQSkipReason::kNoDate);

  const VEQLegacyMoment weighing = veqLegacyMoment(timeString);
  // The weight is bound as the legacy row holds it, number or text.
  const VEQValue& stored = dic["weight_value_cn"];
  const VEQValue weight = stored.isNull() ? VEQValue("") : stored;
  veqWriteWeightRecord(database, {
      .unit = "1",
      .lastWeight = weight,
      .handEntered = dic.boolForKey("isHandsRecord"),
      .weight = weight,
      .measureStamp = weighing.stamp,
      .dayStamp = weighing.dayStamp,
      .components = weighing.components,
  });
  return true;
}

}  // namespace veq
