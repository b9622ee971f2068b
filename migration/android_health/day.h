// day.h — the day and time of an Android health row.
//
// Two forms reach the new records:
//
// * A legacy time ("DATE" of item, workout and GPS rows, "date" of weight
//   rows: epoch milliseconds, or seconds when shorter than 13 digits).
//   veqAndroidTime normalises it with newTimeStampWithOldTimeStr (which also
//   corrects years of 3001 and later and Buddhist-era years) and gives the
//   normalised stamp, its calendar components and the stamp of its day. A
//   time below 1 has no day: the row is skipped (reason no_date).
//
// * The calendar day of a day row ("YEAR", "MONTH", "DAY"). veqAndroidDay
//   first resolves the row's device (device.h, skipping an unknown one),
//   then skips a row of year 1970 (an unset device clock; reason
//   year_1970), takes a year more than 500 years ahead of the current one as
//   a Buddhist-era year (less 543; a lead of exactly 500 is kept) and gives
//   the day stamp of the corrected day. Month and day pass unchanged; a
//   year of 3001 or more is not corrected here.
//
// Both return nullopt after stating the skip, so a routine ends with
//     if (!day) return true;
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/value.h"
#include "migration/android_health/device.h"
#include "migration/health_record.h"

namespace veq {

struct VEQAndroidTime {
  std::string timeStamp;          // normalised, seconds since 1970 as text
  VEQDateComponents components;   // of timeStamp
  std::string dayStamp;           // start of the components' day
};

std::optional<VEQAndroidTime> veqAndroidTime(int64_t legacyTime);

struct VEQAndroidDay {
  VEQAndroidDevice device;
  int64_t year = 0;  // corrected
  int64_t month = 0;
  int64_t day = 0;
  std::string dayStamp;
};

std::optional<VEQAndroidDay> veqAndroidDay(VEQAndroidRowKind kind, const VEQDict& row, VEQFMDatabaseQueue* oldQueue);

// The serial number of a sleep or sport item of the day `dayStamp`: its own
// "serial_number" when not 0 (the run's count is left alone), else the
// run's next number for that day.
int64_t veqAndroidItemSerial(const VEQDict& row, const std::string& dayStamp);

// Sets the columns "second", "minute", "hour", "day", "month" and "year" of
// a workout or track record from `c`.
void veqSetTimeOfDayColumns(VEQHealthRecord& record, const VEQDateComponents& c);

}  // namespace veq
