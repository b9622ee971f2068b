// legacy_day.cpp — legacy "date" integer → day stamp and components.
#include "migration/ios_health/legacy_day.h"

#include <fmt/format.h>

#include "migration/pro_db_manager.h"

namespace veq {
namespace {

VEQLegacyDay convert(int64_t legacyDate) {
  VEQLegacyDay day;
  // The normalised stamp is discarded on purpose: only its components count.
  VEQProDBManager::newTimeStampWithOldTimeStr(VEQSDKUtility::timeStampFromtimeStr(fmt::format("{}", legacyDate)),
                                              &day.components);
  day.dayStamp =
      VEQSDKUtility::get1970timeTempWithYear(day.components.year, day.components.month, day.components.day);
  return day;
}

// The last conversion and what it depended on. Item tables hold their rows
// day by day, so consecutive rows nearly always share the day and the full
// conversion runs about once per day instead of once per row.
struct LastDay {
  int64_t legacyDate = 0;
  std::string zone;
  int64_t currentYear = 0;
  VEQLegacyDay day;
};

}  // namespace

std::optional<VEQLegacyDay> veqLegacyDay(int64_t legacyDate) {
  if (legacyDate < 1) return std::nullopt;
  thread_local LastDay last;
  const int64_t currentYear = VEQSDKUtility::currentYear();
  std::string zone = VEQSDKUtility::timeZoneName();
  if (last.legacyDate != legacyDate || last.currentYear != currentYear || last.zone != zone) {
    last = {legacyDate, std::move(zone), currentYear, convert(legacyDate)};
  }
  return last.day;
}

}  // namespace veq
