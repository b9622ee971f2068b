// weight_record.cpp — see weight_record.h.
#include "migration/weight_record.h"

#include <utility>

#include "collaborators/sync_sql_manager.h"
#include "migration/health_record.h"

namespace veq {

void veqWriteWeightRecord(VEQFMDatabase* database, const VEQWeighing& w) {
  const VEQDateComponents& c = w.components;
  VEQHealthRecord record(VEQHealthTable::kWeight, {
      {"bmi", ""},
      {"body_fat_rate", ""},
      {"muscle_mass", ""},
      {"water_rate", ""},
      {"bone_mass", ""},
      {"visceral_fat", ""},
      {"basal_metabolism", ""},
      {"hand_entered", w.handEntered},
      {"last_weight", w.lastWeight},
      {"weight_unit", w.unit},
      {"display_unit", w.unit},
      {"weight", w.weight},
      {"measure_stamp", w.measureStamp},
      {"day_stamp", w.dayStamp},
      {"day", c.day},
      {"month", c.month},
      {"year", c.year},
  });
  veqUpsertHealthRecord(database, VEQSyncSqlManager::queryWeightExistSqlStr(w.dayStamp), std::move(record));
}

}  // namespace veq
