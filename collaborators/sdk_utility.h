// sdk_utility.h — date and bit utilities.
//
// Every date function works in one configurable time zone (default: the
// system's local zone), so a civil date converted to a time stamp and back
// yields the same date. Time stamps are texts of whole seconds since
// 1970-01-01T00:00:00Z. The legacy date forms each function accepts are
// listed in docs/dates.md.
//
// "Now" can be fixed for tests and reproducible runs (setFixedNow); the
// current year that the migration compares legacy years with comes from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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
  // Time zone by IANA name ("Europe/Berlin", "UTC"); "" selects the system's
  // local zone. Returns false (and keeps the current zone) for an unknown name.
  static bool setTimeZone(const std::string& name);
  static std::string timeZoneName();

  // Fixes "now" (seconds since 1970) or, with nullopt, returns to the clock.
  static void setFixedNow(std::optional<int64_t> epochSeconds);
  static int64_t now();
  static int64_t currentYear();

  // A date-time text of digits ("YYYYMMDDhhmmss", "YYYYMMDD", or a time
  // stamp that passes through) → time-stamp text.
  static std::string timeStampFromtimeStr(std::string_view timeStr);
  // Time-stamp text (seconds) → calendar components.
  static VEQDateComponents dateComponentsWithDateStr(std::string_view dateStr);
  // Start of the civil day → time-stamp text (the day stamp).
  static std::string get1970timeTempWithYear(int64_t year, int64_t andMonth, int64_t andDay);
  // A legacy date-time text → time-stamp text.
  static std::string get1970timeTempWithDateStr(std::string_view dateStr);
  // Binary digits of a legacy bit field, most significant first, padded to
  // at least eight digits; each entry is the integer 0 or 1.
  static VEQArray getBinaryByDecimal(int64_t decimal);
};

}  // namespace veq
