// sdk_utility.h — date and bit utilities.
//
// Every date function works in one configurable time zone (default: the
// platform's local time through the C library; time_zone.h), so a civil date converted to a time stamp and back
// yields the same date. Time stamps are texts of whole seconds since
// 1970-01-01T00:00:00Z. The legacy date forms each function accepts are
// listed in docs/dates.md.
//
// Wall-clock rules of the zone: a local time skipped by a forward change
// (daylight saving) moves forward by the length of the gap; a local time that
// occurs twice takes the earlier instant. Out-of-range fields normalise the
// way a calendar does (month 13 is January of the next year, day 0 the last
// day of the previous month).
//
// "Now" can be fixed for tests and reproducible runs (setFixedNow); the
// current year that the migration compares legacy years with comes from it.
//
// The zone and the fixed "now" belong to the calling thread's current
// collaborator state (collaborator_state.h; a migration session makes its
// own current), and are meant to be set before a run. When the
// platform's zone cannot be resolved (setTimeZone returns false), every
// conversion throws VEQTimeZoneError with the reason rather than work in UTC;
// a kit checks the result before migrating. Each thread remembers the last
// few results of every conversion, the span of constant offset met last and
// the current year with the instants it spans, so rows that repeat a date
// (the items of one day, the points of one track) cost a comparison; a change
// of zone forgets them all, and the year is read again once "now" leaves it.
// They are tagged with the zone's generation, unique in the process, so a
// thread that moves from one state to another never takes one zone's result
// for another's.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collaborators/time_zone.h"
#include "collaborators/value.h"

namespace veq {

// Calendar components of a time stamp, in the configured zone.
struct VEQDateComponents {
  int64_t year = 0;
  int64_t month = 0;
  int64_t day = 0;
  int64_t hour = 0;
  int64_t minute = 0;
  int64_t second = 0;
  friend bool operator==(const VEQDateComponents&, const VEQDateComponents&) = default;
};

class VEQSDKUtility {
 public:
  // Time zone by IANA name ("Europe/Berlin", "UTC"; VEQTimeZone::named).
  // Returns false (and keeps the current zone) for an unknown name, or when
  // there is no tz database. "" selects the platform's local time, as below.
  static bool setTimeZone(const std::string& name);
  // A zone of the kit's (or VEQTimeZone::local/fixed). An empty pointer
  // selects the platform's local time (VEQTimeZone::local); false when that
  // cannot be resolved, and conversions then throw VEQTimeZoneError.
  static bool setTimeZone(std::shared_ptr<const VEQTimeZone> zone);
  // The zone in use (never null) and its name.
  static std::shared_ptr<const VEQTimeZone> timeZone();
  static std::string timeZoneName();
  // Changes with every setTimeZone, for callers that remember results
  // computed in the zone.
  static uint64_t timeZoneGeneration();

  // Fixes "now" (seconds since 1970) or, with nullopt, returns to the clock.
  static void setFixedNow(std::optional<int64_t> epochSeconds);
  static int64_t now();
  static int64_t currentYear();

  // A date-time text ("YYYYMMDDhhmmss", "YYYYMMDD", "yyyy-MM-dd HH:mm:ss",
  // "yyyy-MM-dd", or digits of another length: a time stamp that passes
  // through) → time-stamp text; "0" for anything else.
  static std::string timeStampFromtimeStr(std::string_view timeStr);
  // Time-stamp text (seconds) → calendar components.
  static VEQDateComponents dateComponentsWithDateStr(std::string_view dateStr);
  // Start of the civil day → time-stamp text (the day stamp).
  static std::string get1970timeTempWithYear(int64_t year, int64_t andMonth, int64_t andDay);
  // A legacy date-time text → time-stamp text: the forms above, except that
  // a time stamp of 13 or more digits is in milliseconds.
  static std::string get1970timeTempWithDateStr(std::string_view dateStr);
  // The stamp of the wall-clock time of `timeStamp` (seconds) moved to
  // `year`: month, day, hour, minute and second stay. When that local time
  // occurs twice it keeps the offset `timeStamp` had; a skipped one moves
  // forward by the gap. `year` is clamped to ±10^9.
  static std::string timeStampWithYear(std::string_view timeStamp, int64_t year);
  // Binary digits of a legacy bit field, most significant first, padded to
  // at least eight digits; each entry is the integer 0 or 1. A negative
  // field gives the 32 digits of its 32-bit two's complement.
  static VEQArray getBinaryByDecimal(int64_t decimal);
};

}  // namespace veq
