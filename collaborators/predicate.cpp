#include "collaborators/predicate.h"

#include <algorithm>

namespace veq {

const VEQDict* veqFirstWhereTextEquals(const std::vector<VEQDict>& list, std::string_view key,
                                       std::string_view text) {
  return veqFirstWhere(list, key, [text](const VEQValue& v) {
    // A text compares without the copy that description() would make.
    return v.isText() ? v.text() == text : v.description() == text;
  });
}

const VEQDict* veqFirstWhereIntegerEquals(const std::vector<VEQDict>& list, std::string_view key,
                                          int64_t value) {
  return veqFirstWhere(list, key, [value](const VEQValue& v) { return v.integerValue() == value; });
}

bool veqAnyEqualsOne(const VEQArray& array) {
  return std::any_of(array.begin(), array.end(),
                     [](const VEQValue& v) { return v.isNumber() && v.doubleValue() == 1.0; });
}

}  // namespace veq
