// bit_fields.cpp — positions in bit arrays, guarded against short arrays.
#include "migration/settings/bit_fields.h"

#include <algorithm>

namespace veq {

namespace {
constexpr size_t kWeekdays = 7;
}

bool veqBitAt(const VEQArray& bits, size_t position) {
  return position < bits.size() && bits[position].boolValue();
}

VEQArray veqReversedBits(const VEQArray& bits) { return VEQArray(bits.rbegin(), bits.rend()); }

bool veqAnyBitSet(const VEQArray& bits) {
  return std::any_of(bits.begin(), bits.end(), [](const VEQValue& bit) { return bit.integerValue() == 1; });
}

VEQLongSitSwitches veqLongSitSwitches(const VEQArray& reversedBits) {
  VEQLongSitSwitches switches;
  switches.isOpen = veqBitAt(reversedBits, 0);
  if (reversedBits.size() <= kWeekdays) {
    switches.weeks.assign(kWeekdays, VEQValue(0));
  } else {
    switches.weeks.assign(reversedBits.begin() + 1, reversedBits.begin() + 1 + kWeekdays);
  }
  return switches;
}

void veqSetSwitchesFromBits(VEQModel& model, const VEQArray& bits, const std::array<std::string_view, 8>& byPosition) {
  for (size_t position = byPosition.size(); position-- > 0;) {
    if (!byPosition[position].empty()) model.setBool(byPosition[position], veqBitAt(bits, position));
  }
}

}  // namespace veq
