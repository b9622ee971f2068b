// health_record.h — the insert-or-update step every health conversion ends
// with.
//
// veqUpsertHealthRecord writes one health record:
//   1. runs `existsSql` (a query selecting "pk" of at most one record);
//   2. binds the six base values (1 and five ""), then `recordValues` in
//      order, and — when the record exists — its primary key as an integer
//      last;
//   3. executes `updateSql` when the record exists, `insertSql` otherwise.
// It returns the statement's result; health conversions ignore it and report
// YES, so a failed write is not detected.
//
// The run state, the serial-number rule, the base values and the time-stamp
// normalisation are members of VEQProDBManager (pro_db_manager.h) and live
// in health_record.cpp.
#pragma once

#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/value.h"

namespace veq {

// Takes the record's values by value: pass a temporary (or std::move) and
// they are moved, not copied, into the argument list.
bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQArray recordValues,
                           const std::string& updateSql, const std::string& insertSql);

}  // namespace veq
