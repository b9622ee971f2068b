#include "collaborators/health_sql.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <fmt/format.h>

namespace veq::health_tables {
namespace {

// How a statement names its n-th value (1-based): a numbered parameter, or
// the column of the record stream that carries it.
enum class Source { kParameters, kRecordStream };

std::string param(size_t n, Source from = Source::kParameters) {
  return from == Source::kParameters ? fmt::format("?{}", n) : fmt::format("c{}", n - 1);
}

// The value expression of every column, and of the primary key for an
// update. A table with one layout takes anonymous placeholders, so the
// database layer insists on the exact argument count. A table with a short
// layout numbers its parameters: the short layout leaves the last long-layout
// parameter unbound (NULL), which is what the CASEs test.
struct Bindings {
  std::vector<std::string> values;
  std::string pk;
};

Bindings bindings(const Table& t, bool update, Source from = Source::kParameters) {
  const std::vector<Column> columns = allColumns(t);
  const size_t n = columns.size();
  Bindings b;
  if (!t.shortLayout) {
    if (from == Source::kParameters) {
      b.values.assign(n, "?");
      b.pk = "?";
    } else {
      for (size_t i = 1; i <= n; ++i) b.values.push_back(param(i, from));
    }
    return b;
  }
  size_t missing = 0;  // 1-based position of the column the short layout lacks
  for (size_t i = 0; i < n; ++i)
    if (columns[i].name == t.shortLayout->missing) missing = i + 1;
  const std::string isShort = "CASE WHEN " + param(update ? n + 1 : n, from) + " IS NULL THEN ";

  std::string derived(t.shortLayout->derived);
  for (size_t i = 0; i < n; ++i) {
    if (i + 1 == missing) continue;
    const std::string token = fmt::format("{{{}}}", columns[i].name);
    const std::string shortParam = param(i + 1 < missing ? i + 1 : i, from);
    for (size_t at = derived.find(token); at != std::string::npos; at = derived.find(token, at))
      derived.replace(at, token.size(), shortParam);
  }

  for (size_t i = 1; i <= n; ++i) {
    if (i < missing) b.values.push_back(param(i, from));
    else if (i == missing) b.values.push_back(isShort + "(" + derived + ") ELSE " + param(i, from) + " END");
    else b.values.push_back(isShort + param(i - 1, from) + " ELSE " + param(i, from) + " END");
  }
  b.pk = isShort + param(n) + " ELSE " + param(n + 1) + " END";
  return b;
}

template <typename Text>
std::string joined(const std::vector<Text>& parts, std::string_view separator) {
  std::string out;
  for (const Text& part : parts) {
    if (!out.empty()) out += separator;
    out += part;
  }
  return out;
}

}  // namespace

std::string insertSql(const Table& t) {
  std::vector<std::string> names;
  for (const Column& c : allColumns(t)) names.emplace_back(c.name);
  return "INSERT INTO " + std::string(t.name) + " (" + joined(names, ", ") + ") VALUES (" +
         joined(bindings(t, false).values, ", ") + ")";
}

std::string streamInsertSql(const Table& t) {
  std::vector<std::string> names;
  for (const Column& c : allColumns(t)) names.emplace_back(c.name);
  return "INSERT OR FAIL INTO " + std::string(t.name) + " (" + joined(names, ", ") + ") SELECT " +
         joined(bindings(t, false, Source::kRecordStream).values, ", ") + " FROM " + std::string(kRecordStream);
}

std::string recordStreamSchema() {
  size_t widest = 0;
  for (const Table& t : tables()) widest = std::max(widest, allColumns(t).size());
  std::vector<std::string> columns;
  for (size_t i = 1; i <= widest; ++i) columns.push_back(param(i, Source::kRecordStream));
  return "CREATE TABLE x(" + joined(columns, ", ") + ")";
}

std::string updateSql(const Table& t) {
  const std::vector<Column> columns = allColumns(t);
  const Bindings b = bindings(t, true);
  std::vector<std::string> sets;
  for (size_t i = 0; i < columns.size(); ++i) sets.push_back(std::string(columns[i].name) + " = " + b.values[i]);
  return "UPDATE " + std::string(t.name) + " SET " + joined(sets, ", ") + " WHERE pk = " + b.pk;
}

// The UPDATE of the record with the record's own keys, found by them in the
// statement itself, leaving the key columns (which already hold those keys)
// and their index alone:
//   UPDATE <table> SET <other columns> WHERE pk = (SELECT pk FROM <table>
//   WHERE <key> = ?<its parameter> …)
// It takes the INSERT's arguments; when no record has the keys it changes
// nothing. Numbered parameters, so each key parameter serves twice; "" for a
// table with a short layout, whose parameters shift with the layout.
std::string updateByKeysSql(const Table& t) {
  if (t.shortLayout) return "";
  const std::vector<Column> columns = allColumns(t);
  const std::vector<std::string_view> keyNames = keyColumns(t.key);
  std::vector<std::string> sets, keys;
  for (size_t i = 0; i < columns.size(); ++i) {
    const std::string_view name = columns[i].name;
    const bool key = std::find(keyNames.begin(), keyNames.end(), name) != keyNames.end();
    (key ? keys : sets).push_back(std::string(name) + " = " + param(i + 1));
  }
  return "UPDATE " + std::string(t.name) + " SET " + joined(sets, ", ") + " WHERE pk = (SELECT pk FROM " +
         std::string(t.name) + " WHERE " + joined(keys, " AND ") + ")";
}

// Keys are pasted between single quotes as they stand; the new-database
// helper lifts them into bound parameters before running the query.
std::string existsSql(const Table& t, std::string_view stamp, std::optional<int64_t> serial,
                      std::string_view macAddr) {
  // Built once per legacy row: appended in place, without temporaries.
  std::string sql;
  sql.reserve(96 + t.name.size() + stamp.size() + macAddr.size());
  sql.append("SELECT pk FROM ").append(t.name).append(" WHERE ");
  if (t.key.byDevice) sql.append("mac_addr = '").append(macAddr).append("' AND ");
  sql.append(t.key.stamp).append(" = '").append(stamp).append("'");
  if (t.key.bySerial) {
    char digits[24];
    sql.append(" AND serial_number = ")
        .append(digits, std::to_chars(std::begin(digits), std::end(digits), serial.value_or(0)).ptr);
  }
  return sql;
}

std::string schemaSql(const Table& t) {
  const std::vector<Column> columns = allColumns(t);
  std::string sql = "CREATE TABLE IF NOT EXISTS " + std::string(t.name) + " (pk INTEGER PRIMARY KEY";
  for (size_t i = 0; i < columns.size(); ++i) {
    sql += ", " + std::string(columns[i].name) + (columns[i].affinity == Affinity::Integer ? " INTEGER" : " TEXT");
    // The short layout of a numbered statement cannot be told from a list
    // that is simply too short; such a list leaves the last column NULL.
    if (t.shortLayout && i + 1 == columns.size()) sql += " NOT NULL";
  }
  sql += ");\n";

  sql += "CREATE INDEX IF NOT EXISTS " + std::string(t.name) + "_key ON " + std::string(t.name) + " (" +
         joined(keyColumns(t.key), ", ") + ");\n";
  if (!t.extraSchema.empty()) sql += std::string(t.extraSchema) + ";\n";
  return sql;
}

std::string highestKeySql(const Table& t) {
  std::vector<std::string_view> ordered = keyColumns(t.key);
  if (t.key.byDevice) ordered.erase(ordered.begin());  // the device is the one compared
  return "SELECT " + joined(ordered, ", ") + " FROM " + std::string(t.name) +
         (t.key.byDevice ? " WHERE mac_addr = ?" : "") + " ORDER BY " + joined(ordered, " DESC, ") + " DESC LIMIT 1";
}

}  // namespace veq::health_tables
