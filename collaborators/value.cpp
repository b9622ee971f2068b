#include "collaborators/value.h"

#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "collaborators/json.h"

namespace veq {

namespace {

const std::string& emptyText() {
  static const std::string kEmpty;
  return kEmpty;
}

size_t skipSpace(std::string_view s, size_t i) {
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  return i;
}

// Decimal prefix of a text, saturating at [lo, hi].
int64_t parseIntegerPrefix(std::string_view s, int64_t lo, int64_t hi) {
  size_t i = skipSpace(s, 0);
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
    negative = s[i] == '-';
    ++i;
  }
  int64_t value = 0;
  bool saturated = false;
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    if (saturated) continue;
    const int digit = s[i] - '0';
    if (!negative) {
      if (value > (hi - digit) / 10) {
        value = hi;
        saturated = true;
      } else {
        value = value * 10 + digit;
      }
    } else {
      if (value < (lo + digit) / 10) {
        value = lo;
        saturated = true;
      } else {
        value = value * 10 - digit;
      }
    }
  }
  return value;
}

int64_t truncateReal(double d) {
  if (std::isnan(d)) return 0;
  if (d >= 9.2233720368547758e18) return INT64_MAX;
  if (d <= -9.2233720368547758e18) return INT64_MIN;
  return static_cast<int64_t>(d);
}

std::string shortestReal(double d) {
  char buf[64];
  auto res = std::to_chars(buf, buf + sizeof buf, d);
  return std::string(buf, res.ptr);
}

}  // namespace

const VEQValue& veqNull() {
  static const VEQValue kNull;
  return kNull;
}

VEQValue::VEQValue(VEQArray a) : v_(std::make_shared<const VEQArray>(std::move(a))) {}
VEQValue::VEQValue(VEQDict d) : v_(std::make_shared<const VEQDict>(std::move(d))) {}

int64_t VEQValue::integerValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(v_) ? 1 : 0;
    case Kind::Integer: return std::get<int64_t>(v_);
    case Kind::Real: return truncateReal(std::get<double>(v_));
    case Kind::Text: return parseIntegerPrefix(std::get<std::string>(v_), INT64_MIN, INT64_MAX);
    default: return 0;
  }
}

int32_t VEQValue::intValue() const {
  if (kind() == Kind::Text)
    return static_cast<int32_t>(parseIntegerPrefix(std::get<std::string>(v_), INT32_MIN, INT32_MAX));
  return static_cast<int32_t>(integerValue());
}

bool VEQValue::boolValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(v_);
    case Kind::Integer: return std::get<int64_t>(v_) != 0;
    case Kind::Real: return std::get<double>(v_) != 0.0;
    case Kind::Text: {
      const std::string& s = std::get<std::string>(v_);
      size_t i = skipSpace(s, 0);
      if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
      while (i < s.size() && s[i] == '0') ++i;
      if (i >= s.size()) return false;
      const char c = s[i];
      return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    default: return false;
  }
}

double VEQValue::doubleValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(v_) ? 1.0 : 0.0;
    case Kind::Integer: return static_cast<double>(std::get<int64_t>(v_));
    case Kind::Real: return std::get<double>(v_);
    case Kind::Text: {
      const std::string& s = std::get<std::string>(v_);
      return std::strtod(s.c_str(), nullptr);
    }
    default: return 0.0;
  }
}

std::string VEQValue::description() const {
  switch (kind()) {
    case Kind::Null: return std::string();
    case Kind::Bool: return std::get<bool>(v_) ? "1" : "0";
    case Kind::Integer: return std::to_string(std::get<int64_t>(v_));
    case Kind::Real: return shortestReal(std::get<double>(v_));
    case Kind::Text: return std::get<std::string>(v_);
    case Kind::Array:
    case Kind::Dict: return objectToJsonString(*this).value_or(std::string());
  }
  return std::string();
}

const std::string& VEQValue::text() const {
  if (kind() == Kind::Text) return std::get<std::string>(v_);
  return emptyText();
}

const VEQArray& VEQValue::array() const {
  static const VEQArray kEmpty;
  if (kind() == Kind::Array) return *std::get<std::shared_ptr<const VEQArray>>(v_);
  return kEmpty;
}

const VEQDict& VEQValue::dict() const {
  static const VEQDict kEmpty;
  if (kind() == Kind::Dict) return *std::get<std::shared_ptr<const VEQDict>>(v_);
  return kEmpty;
}

void VEQValue::assignText(std::string_view s) {
  if (std::string* text = std::get_if<std::string>(&v_)) {
    text->assign(s);
  } else {
    v_.emplace<std::string>(s);
  }
}

bool operator==(const VEQValue& a, const VEQValue& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case VEQValue::Kind::Array: return a.array() == b.array();
    case VEQValue::Kind::Dict: return a.dict() == b.dict();
    default: return a.v_ == b.v_;
  }
}

VEQDict::VEQDict(std::initializer_list<std::pair<std::string, VEQValue>> entries) {
  for (const auto& [k, v] : entries) set(k, v);
}

VEQDict::VEQDict(std::shared_ptr<const Keys> keys, std::vector<VEQValue> values)
    : keys_(std::move(keys)), values_(std::move(values)) {
  values_.resize(keys_ ? keys_->size() : 0);
}

const VEQValue* VEQDict::find(std::string_view key) const {
  if (!keys_) return nullptr;
  const Keys& keys = *keys_;
  for (size_t i = 0; i < keys.size(); ++i)
    if (keys[i] == key) return &values_[i];
  return nullptr;
}

const VEQValue& VEQDict::operator[](std::string_view key) const {
  const VEQValue* v = find(key);
  return v ? *v : veqNull();
}

// Makes the key list private and mutable before a change: shared key lists
// (rows of one table) are copied first, never changed in place.
void VEQDict::ownKeys() {
  if (!keys_) {
    keys_ = std::make_shared<Keys>();
    ownsKeys_ = true;
  } else if (!ownsKeys_ || keys_.use_count() > 1) {
    keys_ = std::make_shared<Keys>(*keys_);
    ownsKeys_ = true;
  }
}

void VEQDict::set(std::string_view key, VEQValue value) {
  if (keys_) {
    const Keys& keys = *keys_;
    for (size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == key) {
        values_[i] = std::move(value);
        return;
      }
    }
  }
  ownKeys();
  const_cast<Keys&>(*keys_).emplace_back(key);
  values_.push_back(std::move(value));
}

void VEQDict::remove(std::string_view key) {
  if (!keys_) return;
  for (size_t i = 0; i < keys_->size(); ++i) {
    if ((*keys_)[i] == key) {
      ownKeys();
      Keys& keys = const_cast<Keys&>(*keys_);
      keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(i));
      values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }
}

bool operator==(const VEQDict& a, const VEQDict& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const VEQValue* other = b.find(a.keyAt(i));
    if (!other || !(*other == a.valueAt(i))) return false;
  }
  return true;
}

}  // namespace veq
