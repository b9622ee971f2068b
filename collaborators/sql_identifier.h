// sql_identifier.h — quoting of table and column names in SQL texts.
//
// Names come from legacy stores and from the tool's own tables; they are
// written between double quotes with embedded quotes doubled, so any name is
// safe to paste into a statement.
#pragma once

#include <string>
#include <string_view>

namespace veq {

inline std::string sqlIdentifier(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

}  // namespace veq
