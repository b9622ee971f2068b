// predicate.h — the list filters the migration uses.
//
// Registry look-ups and bit-array checks filter lists the way the phone
// platform's predicates do, and they do it here and nowhere else:
//
//   * veqFirstWhereTextEquals(list, key, text)  — "key == <text>": the
//     record's value under `key`, written as its "%@" text, equals `text`.
//   * veqFirstWhereIntegerEquals(list, key, n)  — "key == <integer>": the
//     record's value under `key`, read as an integer, equals `n` (so the text
//     "17" and the number 17 both match 17, and the text "abc" matches 0).
//   * veqAnyEqualsOne(array)                    — "SELF == 1": some element is
//     a number (integer, real or boolean) equal to 1. The text "1" is not.
//
// Rules: a record that lacks the key, or holds the null value under it, never
// matches, whatever is looked for (also not "" or 0). When several records
// match, the first in list order wins. The result points into `list` itself
// (nothing is copied) and is nullptr when nothing matches.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "collaborators/value.h"

namespace veq {

// The first record of `list` whose non-null value under `key` satisfies
// `matches(value)`, or nullptr.
template <class Matches>
const VEQDict* veqFirstWhere(const std::vector<VEQDict>& list, std::string_view key,
                             Matches&& matches) {
  for (const VEQDict& record : list) {
    const VEQValue* value = record.find(key);
    if (value && !value->isNull() && matches(*value)) return &record;
  }
  return nullptr;
}

const VEQDict* veqFirstWhereTextEquals(const std::vector<VEQDict>& list, std::string_view key,
                                       std::string_view text);
const VEQDict* veqFirstWhereIntegerEquals(const std::vector<VEQDict>& list, std::string_view key,
                                          int64_t value);
bool veqAnyEqualsOne(const VEQArray& array);

}  // namespace veq
