// day.cpp — legacy times and calendar days of Android health rows.
#include "migration/android_health/day.h"

#include <string>

#include "collaborators/models.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

std::optional<VEQAndroidTime> veqAndroidTime(int64_t legacyTime) {
  if (legacyTime < 1) {
    veqSkipRow(VEQSkipReason::kNoDate);
    return std::nullopt;
  }
  VEQAndroidTime time;
  time.timeStamp = VEQProDBManager::newTimeStampWithOldTimeStr(std::to_string(legacyTime), &time.components);
  time.dayStamp =
      VEQSDKUtility::get1970timeTempWithYear(time.components.year, time.components.month, time.components.day);
  return time;
}

std::optional<VEQAndroidDay> veqAndroidDay(VEQAndroidRowKind kind, const VEQDict& row, VEQFMDatabaseQueue* oldQueue) {
  std::optional<VEQAndroidDevice> device = veqAndroidDevice(kind, row, oldQueue);
  if (!device) return std::nullopt;
  int64_t year = row.integerForKey("YEAR");
  if (year == 1970) {
    veqSkipRow(VEQSkipReason::kYear1970);
    return std::nullopt;
  }
  year = veqBuddhistEraCorrected(year);
  VEQAndroidDay day{std::move(*device), year, row.integerForKey("MONTH"), row.integerForKey("DAY"), {}};
  day.dayStamp = VEQSDKUtility::get1970timeTempWithYear(day.year, day.month, day.day);
  return day;
}

int64_t veqAndroidItemSerial(const VEQDict& row, const std::string& dayStamp) {
  const int64_t own = row.integerForKey("serial_number");
  return own != 0 ? own : VEQProDBManager::nextSerialNumberForStamp(dayStamp);
}

void veqSetTimeOfDayColumns(VEQHealthRecord& record, const VEQDateComponents& c) {
  record.set("second", c.second).set("minute", c.minute).set("hour", c.hour);
  record.set("day", c.day).set("month", c.month).set("year", c.year);
}

}  // namespace veq
