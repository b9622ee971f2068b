// legacy_day.h — the day of a legacy iOS health row as a day stamp.
//
// The legacy iOS day tables and item tables (sport, sleep, heart rate) keep
// their day in an integer "date" column (digits such as 20240315). Every
// conversion of those tables turns it into the new schema's day stamp the
// same way:
//
//   1. the integer is written as decimal text; a value below 1 means the row
//      has no day and is skipped;
//   2. the text goes through VEQSDKUtility::timeStampFromtimeStr and then
//      VEQProDBManager::newTimeStampWithOldTimeStr, which corrects far-future
//      and Buddhist-era years; only the calendar components it hands back are
//      kept, the normalised stamp itself is not used;
//   3. the day stamp is get1970timeTempWithYear for the components' year,
//      month and day, so the time of day never matters: two rows of the same
//      calendar day always get the same stamp.
//
// The result depends only on the date, the configured time zone and the
// current year (for the Buddhist-era rule).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "collaborators/sdk_utility.h"

namespace veq {

struct VEQLegacyDay {
  std::string dayStamp;           // start of the day, seconds since 1970, as text
  VEQDateComponents components;   // the corrected calendar components
};

// The day of a legacy "date" value, or nullopt when the row is to be skipped.
std::optional<VEQLegacyDay> veqLegacyDay(int64_t legacyDate);

}  // namespace veq
