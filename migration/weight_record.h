// weight_record.h — the new weight record both legacy weight conversions
// write.
//
// Weight belongs to the user: the record carries no device key and is found
// by its day alone, so a later weighing of the same day replaces the earlier
// one. Neither legacy store kept body composition, so the seven columns
// "bmi" … "basal_metabolism" are written as the empty text, and "day",
// "month" and "year" come from the weighing's calendar components. A writer
// names only what its store holds: the unit (written as both the weight's and
// the display unit), the previous weight, whether it was entered by hand, the
// weight, and the stamps.
//
// The record is written with veqUpsertHealthRecord (health_record.h), which
// states the row outcome; a writer reports YES whatever the statement did.
#pragma once

#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/value.h"

namespace veq {

struct VEQWeighing {
  VEQValue unit;         // "weight_unit" and "display_unit"
  VEQValue lastWeight;   // "last_weight"
  VEQValue handEntered;  // "hand_entered"
  VEQValue weight;       // "weight"
  std::string measureStamp;
  std::string dayStamp;
  VEQDateComponents components;  // of measureStamp
};

void veqWriteWeightRecord(VEQFMDatabase* database, const VEQWeighing& weighing);

}  // namespace veq
