// weight.cpp — legacy iOS weighings ("t_and_weight_data") → the new weight
// records.
//
// Weight belongs to the user, not to a device: the record carries no device
// key and is keyed by its day alone, so a later weighing of the same day
// (from any device) replaces the earlier one. A row without a device key is
// still skipped, as an incomplete legacy row. The legacy store kept no body
// composition; those seven columns stay empty.
#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

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

  const VEQDateComponents& c = weighing.components;
  VEQHealthRecord record(VEQHealthTable::kWeight, {
      {"bmi", ""},
      {"body_fat_rate", ""},
      {"muscle_mass", ""},
      {"water_rate", ""},
      {"bone_mass", ""},
      {"visceral_fat", ""},
      {"basal_metabolism", ""},
      {"hand_entered", dic.boolForKey("isHandsRecord")},
      {"last_weight", weight},
      {"weight_unit", "1"},
      {"display_unit", "1"},
      {"weight", weight},
      {"measure_stamp", weighing.stamp},
      {"day_stamp", weighing.dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryWeightExistSqlStr(weighing.dayStamp), std::move(record));
  return true;
}

}  // namespace veq
