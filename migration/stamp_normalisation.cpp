// stamp_normalisation.cpp — legacy time stamps to seconds, with the year
// corrections, remembering the last result of the thread.

#include <string>

#include "collaborators/sdk_utility.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

namespace veq {

namespace {

std::string normalisedTimeStamp(const std::string& oldTimeStr, int64_t currentYear);

// The last normalisation of this thread: intervals come many to a stamp, and
// the result depends only on the text, the time zone and the current year.
struct LastNormalisation {
  std::string oldTimeStr;
  uint64_t zoneGeneration = 0;
  int64_t currentYear = 0;
  std::string result;
  VEQDateComponents components;
  bool valid = false;
};

thread_local LastNormalisation tLastNormalisation;

}  // namespace

std::string VEQProDBManager::newTimeStampWithOldTimeStr(const std::string& oldTimeStr,
                                                        VEQDateComponents* dateComponents) {
  LastNormalisation& last = tLastNormalisation;
  const int64_t currentYear = VEQSDKUtility::currentYear();
  const uint64_t zoneGeneration = VEQSDKUtility::timeZoneGeneration();
  if (last.valid && last.oldTimeStr == oldTimeStr && last.currentYear == currentYear &&
      last.zoneGeneration == zoneGeneration) {
    if (dateComponents != nullptr) *dateComponents = last.components;
    return last.result;
  }
  last.valid = false;
  last.result = normalisedTimeStamp(oldTimeStr, currentYear);
  last.components = VEQSDKUtility::dateComponentsWithDateStr(last.result);
  last.oldTimeStr = oldTimeStr;
  last.zoneGeneration = zoneGeneration;
  last.currentYear = currentYear;
  last.valid = true;
  if (dateComponents != nullptr) *dateComponents = last.components;
  return last.result;
}

namespace {

// A stamp whose year needs no correction comes back as its integer seconds,
// whatever the zone and the hour (also in the hour repeated when the clocks
// go back, which rebuilding it from its wall-clock fields would lose). A
// corrected one keeps its wall-clock fields in the corrected year and, where
// that local time occurs twice, the offset the original instant had.
std::string normalisedTimeStamp(const std::string& oldTimeStr, int64_t currentYear) {
  // Thirteen or more characters hold milliseconds.
  const std::string seconds = std::to_string(oldTimeStr.size() >= 13 ? VEQValue(oldTimeStr).integerValue() / 1000
                                                                     : VEQValue(oldTimeStr).integerValue());

  const VEQDateComponents c = VEQSDKUtility::dateComponentsWithDateStr(seconds);
  int64_t year = c.year;
  if (year >= 3001) year -= 1900;
  // A year far ahead of ours is counted in the Buddhist era.
  year = veqBuddhistEraCorrected(year, currentYear);
  if (year == c.year) return seconds;
  return VEQSDKUtility::timeStampWithYear(seconds, year);
}

}  // namespace

}  // namespace veq
