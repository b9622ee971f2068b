// value.h — loosely typed values and dictionaries.
//
// Legacy rows, device records and model properties are dictionaries of
// loosely typed values, read the way the phone platform reads them:
//
//   * integerValue(): a number truncated toward zero; a text parsed like the
//     platform does (leading white space, optional sign, decimal digits up to
//     the first other character, saturating at the 64-bit range; no digits
//     gives 0); a boolean gives 0 or 1; anything else 0.
//   * intValue(): the same, as a 32-bit integer (texts saturate at the 32-bit
//     range, numbers wrap the way a C cast does).
//   * boolValue(): a number is YES when not 0; a text is YES when, after
//     leading white space, an optional sign and leading zeros, its first
//     character is 'Y', 'y', 'T', 't' or a digit 1-9; anything else NO.
//   * doubleValue(): numbers as they are; texts parsed as a decimal prefix.
//   * description(): the "%@" text of a value: a text as it is, an integer
//     in decimal, a real in its shortest round-trip form, a boolean as "1" or
//     "0", arrays and dictionaries as JSON text. A missing value gives "".
//
// A dictionary key that is absent reads as the null value, so every read of a
// missing column yields 0, NO or "" — the rule the conversions rely on.
//
// VEQDict keeps its keys in insertion order. Rows of one legacy table share a
// single key list (VEQDict::Keys), so a million rows cost one copy of the
// column names, not a million.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace veq {

class VEQValue;
class VEQDict;
using VEQArray = std::vector<VEQValue>;

class VEQValue {
 public:
  enum class Kind { Null, Bool, Integer, Real, Text, Array, Dict };

  VEQValue() = default;
  VEQValue(std::nullptr_t) {}
  VEQValue(bool b) : v_(b) {}
  VEQValue(int i) : v_(static_cast<int64_t>(i)) {}
  VEQValue(long i) : v_(static_cast<int64_t>(i)) {}
  VEQValue(long long i) : v_(static_cast<int64_t>(i)) {}
  VEQValue(unsigned i) : v_(static_cast<int64_t>(i)) {}
  VEQValue(double d) : v_(d) {}
  VEQValue(std::string s) : v_(std::move(s)) {}
  VEQValue(std::string_view s) : v_(std::string(s)) {}
  VEQValue(const char* s) : v_(std::string(s)) {}
  VEQValue(VEQArray a);
  VEQValue(VEQDict d);

  Kind kind() const { return static_cast<Kind>(v_.index()); }
  bool isNull() const { return kind() == Kind::Null; }
  bool isNumber() const {
    return kind() == Kind::Bool || kind() == Kind::Integer || kind() == Kind::Real;
  }
  bool isText() const { return kind() == Kind::Text; }
  bool isArray() const { return kind() == Kind::Array; }
  bool isDict() const { return kind() == Kind::Dict; }

  int64_t integerValue() const;
  int32_t intValue() const;
  bool boolValue() const;
  double doubleValue() const;
  std::string description() const;

  // Direct access; each returns an empty object when the value is of
  // another kind.
  const std::string& text() const;
  const VEQArray& array() const;
  const VEQDict& dict() const;

  // In-place assignment, for a reader that refills one row per legacy row:
  // a text assigned over a text reuses that text's storage, so a column of
  // texts no longer than their predecessors costs no allocation.
  void assignText(std::string_view s);
  void assignInteger(int64_t i) { v_ = i; }
  void assignReal(double d) { v_ = d; }
  void assignNull() { v_ = std::monostate(); }

  friend bool operator==(const VEQValue& a, const VEQValue& b);

 private:
  std::variant<std::monostate, bool, int64_t, double, std::string,
               std::shared_ptr<const VEQArray>, std::shared_ptr<const VEQDict>>
      v_;
};

class VEQDict {
 public:
  using Keys = std::vector<std::string>;

  VEQDict() = default;
  VEQDict(std::initializer_list<std::pair<std::string, VEQValue>> entries);
  // A row whose key list is shared with the other rows of its table.
  VEQDict(std::shared_ptr<const Keys> keys, std::vector<VEQValue> values);

  // The value under `key`, or the null value when absent.
  const VEQValue& operator[](std::string_view key) const;
  const VEQValue* find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key) != nullptr; }

  void set(std::string_view key, VEQValue value);
  void remove(std::string_view key);

  size_t size() const { return values_.size(); }
  bool empty() const { return values_.empty(); }
  const std::string& keyAt(size_t i) const { return (*keys_)[i]; }
  const VEQValue& valueAt(size_t i) const { return values_[i]; }
  // In-place access for a reader that refills one row per legacy row.
  VEQValue& valueAt(size_t i) { return values_[i]; }

  // Typed reads of one key, with the platform's conversions.
  int64_t integerForKey(std::string_view key) const { return (*this)[key].integerValue(); }
  int32_t intForKey(std::string_view key) const { return (*this)[key].intValue(); }
  bool boolForKey(std::string_view key) const { return (*this)[key].boolValue(); }
  double doubleForKey(std::string_view key) const { return (*this)[key].doubleValue(); }
  std::string stringForKey(std::string_view key) const { return (*this)[key].description(); }

  friend bool operator==(const VEQDict& a, const VEQDict& b);

 private:
  void ownKeys();

  std::shared_ptr<const Keys> keys_;
  std::vector<VEQValue> values_;
  bool ownsKeys_ = false;  // keys_ was allocated by this dictionary as mutable
};

// The shared null value returned for absent keys.
const VEQValue& veqNull();

// Arithmetic on legacy integers the way the platform's 64-bit integers do
// it: two's complement, wrapping on overflow, never undefined. A legacy value
// of 2^63 - 1 plus one is -2^63.
inline int64_t veqWrappingAdd(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline int64_t veqWrappingSubtract(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
inline int64_t veqWrappingMultiply(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

}  // namespace veq
