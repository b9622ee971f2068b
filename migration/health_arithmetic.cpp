// health_arithmetic.cpp — the Buddhist-year correction and the sleep start.

#include "collaborators/value.h"
#include "migration/health_record.h"

namespace veq {

int64_t veqBuddhistEraCorrected(int64_t year, int64_t currentYear) {
  return veqWrappingSubtract(year, currentYear) > 500 ? veqWrappingSubtract(year, 543) : year;
}

int64_t veqSleepStartStamp(int64_t dayStamp, int64_t endHour, int64_t endMinute, int64_t totalMinutes) {
  constexpr int64_t kMinutesPerDay = 1440, kSecondsPerDay = 86400;
  const int64_t startMinute =
      veqWrappingSubtract(veqWrappingAdd(veqWrappingMultiply(endHour, 60), endMinute), totalMinutes);
  if (startMinute >= 0) return veqWrappingAdd(veqWrappingMultiply(startMinute, 60), dayStamp);
  return veqWrappingAdd(veqWrappingMultiply(veqWrappingAdd(startMinute, kMinutesPerDay), 60),
                        veqWrappingSubtract(dayStamp, kSecondsPerDay));
}

}  // namespace veq
