// bit_fields.h — reading the switches that legacy settings packed into one
// integer.
//
// A bit array is what VEQSDKUtility::getBinaryByDecimal returns: the binary
// digits of an integer as numbers 0 or 1, most significant first, at least
// eight of them. Positions count from the array's first element, or, where a
// caller reverses the array, from the least significant digit.
//
// Rules:
//   * No position is ever read past the end of an array: a missing position
//     reads as NO. Nothing here assumes the eight-digit minimum, so a shorter
//     array from another utility degrades to switches that are off.
//   * veqLongSitSwitches takes the REVERSED array: position 0 is the on/off
//     switch (NO for an empty array); positions 1 to 7 are the weekdays.
//     An array of seven digits or fewer carries no weekdays: they come out as
//     seven zeros, whatever the digits were. Digits past position 7 are
//     ignored.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "collaborators/models.h"
#include "collaborators/value.h"

namespace veq {

// The digit at `position` as a switch; NO past the end.
bool veqBitAt(const VEQArray& bits, size_t position);

// The array in reverse order.
VEQArray veqReversedBits(const VEQArray& bits);

// Whether any digit is 1.
bool veqAnyBitSet(const VEQArray& bits);

struct VEQLongSitSwitches {
  bool isOpen = false;
  VEQArray weeks;  // seven numbers 0 or 1
};
VEQLongSitSwitches veqLongSitSwitches(const VEQArray& reversedBits);

// Sets each named Bool property of `model` from the digit at its position
// (index = position; "" = position not used), highest position first.
void veqSetSwitchesFromBits(VEQModel& model, const VEQArray& bits, const std::array<std::string_view, 8>& byPosition);

}  // namespace veq
