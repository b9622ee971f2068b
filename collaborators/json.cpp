#include "collaborators/json.h"

#include <nlohmann/json.hpp>

namespace veq {

namespace {

using ordered_json = nlohmann::ordered_json;

VEQValue fromJson(const ordered_json& j) {
  switch (j.type()) {
    case ordered_json::value_t::boolean: return VEQValue(j.get<bool>());
    case ordered_json::value_t::number_integer: return VEQValue(j.get<int64_t>());
    case ordered_json::value_t::number_unsigned: {
      const uint64_t u = j.get<uint64_t>();
      if (u <= static_cast<uint64_t>(INT64_MAX)) return VEQValue(static_cast<int64_t>(u));
      return VEQValue(static_cast<double>(u));
    }
    case ordered_json::value_t::number_float: return VEQValue(j.get<double>());
    case ordered_json::value_t::string: return VEQValue(j.get<std::string>());
    case ordered_json::value_t::array: {
      VEQArray a;
      a.reserve(j.size());
      for (const auto& e : j) a.push_back(fromJson(e));
      return VEQValue(std::move(a));
    }
    case ordered_json::value_t::object: {
      VEQDict d;
      for (const auto& [k, v] : j.items()) d.set(k, fromJson(v));
      return VEQValue(std::move(d));
    }
    default: return VEQValue();
  }
}

ordered_json toJson(const VEQValue& v) {
  switch (v.kind()) {
    case VEQValue::Kind::Null: return nullptr;
    case VEQValue::Kind::Bool: return v.boolValue();
    case VEQValue::Kind::Integer: return v.integerValue();
    case VEQValue::Kind::Real: return v.doubleValue();
    case VEQValue::Kind::Text: return v.text();
    case VEQValue::Kind::Array: {
      ordered_json a = ordered_json::array();
      for (const auto& e : v.array()) a.push_back(toJson(e));
      return a;
    }
    case VEQValue::Kind::Dict: {
      ordered_json o = ordered_json::object();
      const VEQDict& d = v.dict();
      for (size_t i = 0; i < d.size(); ++i) o[d.keyAt(i)] = toJson(d.valueAt(i));
      return o;
    }
  }
  return nullptr;
}

}  // namespace

namespace {

// Whether brackets nest deeper than the limit anywhere in the text (brackets
// inside strings do not count). One pass, no recursion.
bool nestsDeeperThan(std::string_view text, size_t limit) {
  size_t depth = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

}  // namespace

VEQValue stringToObject(std::string_view text) {
  // Conversion and destruction of a parsed document recurse per level, so
  // hostile nesting is refused before it is parsed.
  if (nestsDeeperThan(text, kMaxJsonDepth)) return VEQValue();
  ordered_json j = ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (j.is_discarded() || !(j.is_object() || j.is_array())) return VEQValue();
  return fromJson(j);
}

std::optional<std::string> objectToJsonString(const VEQValue& object) {
  if (!object.isArray() && !object.isDict()) return std::nullopt;
  // Invalid UTF-8 in a text is replaced rather than failing the whole dump.
  return toJson(object).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace veq
