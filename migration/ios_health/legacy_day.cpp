// legacy_day.cpp — legacy "date" integer → day stamp and components.
#include "migration/ios_health/legacy_day.h"

#include <fmt/format.h>

#include "migration/pro_db_manager.h"

namespace veq {

std::optional<VEQLegacyDay> veqLegacyDay(int64_t legacyDate) {
  if (legacyDate < 1) return std::nullopt;
  const std::string dateText = fmt::format("{}", legacyDate);
  VEQLegacyDay day;
  // The normalised stamp is discarded on purpose: only its components count.
  VEQProDBManager::newTimeStampWithOldTimeStr(VEQSDKUtility::timeStampFromtimeStr(dateText), &day.components);
  day.dayStamp =
      VEQSDKUtility::get1970timeTempWithYear(day.components.year, day.components.month, day.components.day);
  return day;
}

}  // namespace veq
