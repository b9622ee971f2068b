// legacy_day.h — what every legacy iOS health conversion reads the same way:
// the device key and day of a row, the moment of a time text, item counts
// and item serial numbers.
//
// Days. The legacy iOS day tables and item tables (sport, sleep, heart rate)
// keep their day in an integer "date" column (digits such as 20240315).
// Every conversion of those tables turns it into the new schema's day stamp
// the same way:
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
// current year (for the Buddhist-era rule). Consecutive rows of one day cost
// a comparison: the thread remembers its last day with the zone generation
// and year it was computed under, and computes again when either differs.
//
// Moments. Activities, GPS tracks, weighings and blood-pressure items keep a
// time stamp text instead; veqLegacyMoment normalises it (the same year
// corrections) and adds the day stamp of its calendar day.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collaborators/fmdb.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/value.h"
#include "migration/health_record.h"

namespace veq {

struct VEQLegacyDay {
  std::string dayStamp;           // start of the day, seconds since 1970, as text
  VEQDateComponents components;   // the corrected calendar components
};

// The day of a legacy "date" value, or nullopt when the row is to be skipped.
std::optional<VEQLegacyDay> veqLegacyDay(int64_t legacyDate);

// A row of a legacy day or item table: its device key ("smart_device_id")
// and its day ("date").
// The device key is read in place when the row holds it as a text (the
// usual case), so placing a row copies it only into its record.
struct VEQLegacyDayRow {
  std::string_view macAddr() const { return ownedMacAddr.empty() ? rowMacAddr : ownedMacAddr; }
  std::string_view rowMacAddr;  // the row's own text; valid while the row is
  std::string ownedMacAddr;     // the key's text when the row held another kind
  int64_t date = 0;             // the legacy "date" integer
  VEQLegacyDay day;
};

// The row's key and day, or nullopt when the row names no device or no day;
// the row is then marked skipped with that reason (row_outcome.h), and the
// routine reports YES.
std::optional<VEQLegacyDayRow> veqLegacyDayRow(const VEQDict& dic);

// A normalised moment: the stamp newTimeStampWithOldTimeStr returns for
// `timeStamp` (seconds or milliseconds), its components and the day stamp of
// their year, month and day.
struct VEQLegacyMoment {
  std::string stamp;
  std::string dayStamp;
  VEQDateComponents components;
};
VEQLegacyMoment veqLegacyMoment(const std::string& timeStamp);

// Sets the columns "second", "minute", "hour", "day", "month" and "year"
// (in that order, the last six of the activity and GPS head records) from a
// moment's components.
void veqSetMomentColumns(VEQHealthRecord& record, const VEQDateComponents& c);

// The number of rows of the legacy table `table` that match `condition` (SQL
// such as "date = 20240315") and the device `macAddr`: the count a day or
// head record carries, taken from the legacy items themselves rather than
// from the count the day row claims.
int64_t veqLegacyRowCount(VEQFMDatabaseQueue* oldQueue, std::string_view table, std::string_view condition,
                          std::string_view macAddr);

// The serial number of a legacy item of `dayStamp`: its own "serial_number",
// or, for an item stored without one (0), the next per-day serial of the run
// (VEQProDBManager::nextSerialNumberForStamp), which numbers the items of a
// day 1, 2, 3 … in table order.
int64_t veqLegacyItemSerial(const VEQDict& dic, const std::string& dayStamp);

}  // namespace veq
