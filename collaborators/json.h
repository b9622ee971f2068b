// json.h — JSON text conversion of loosely typed values.
//
// stringToObject parses JSON text into a value. Like the platform's parser,
// only a top-level object or array counts: a scalar document, malformed text
// or an empty text yields the null value. So does a text whose arrays and
// objects nest more than kMaxJsonDepth levels deep: texts come from legacy
// columns and files, and nothing real nests that deep. JSON numbers become integers when
// written without a fraction or exponent and fit 64 bits, reals otherwise
// ("1.0" stays a real); true/false become booleans.
//
// objectToJsonString writes a value as compact JSON text (keys in the order
// the dictionary holds them). It yields no text for a value that is not an
// array or a dictionary, mirroring the platform's serializer which accepts
// only collections at the top level.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "collaborators/value.h"

namespace veq {

inline constexpr size_t kMaxJsonDepth = 256;

VEQValue stringToObject(std::string_view text);
std::optional<std::string> objectToJsonString(const VEQValue& object);

}  // namespace veq
