// sync_sql_manager.cpp — the health tables described as data, and the SQL
// derived from those descriptions.
//
// Each table is one description: its name, the columns of its record in the
// order the conversions bind them, and the key its exists query selects on.
// The schema, the index that serves the exists query, the exists query itself
// and both statements are all derived from that description, so a column
// list is written down exactly once.

#include "collaborators/sync_sql_manager.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

namespace veq {
namespace {

enum class Affinity { Integer, Text };

struct Column {
  std::string_view name;
  Affinity affinity;
};

constexpr Column Int(std::string_view name) { return {name, Affinity::Integer}; }
constexpr Column Text(std::string_view name) { return {name, Affinity::Text}; }

// The six columns that open every health table, filled by the base values
// (the integer 1 and five empty texts) that precede every record.
const std::vector<Column>& baseColumns() {
  static const std::vector<Column> columns = {
      Int("migration_state"), Text("user_id"),          Text("device_name"),
      Text("device_type"),    Text("firmware_version"), Text("remark"),
  };
  return columns;
}

// What an exists query compares: [mac_addr =] <stamp> = [AND serial_number =].
// The index of the table covers the same columns in the same order.
struct Key {
  bool byDevice;
  std::string_view stamp;
  bool bySerial;
};

// A second, shorter argument layout that some writers bind to the same
// statements: the column `missing` is left out and every later value moves
// up by one. `derived` computes the missing column in that layout; "{name}"
// in it stands for the short layout's parameter of column `name`.
struct ShortLayout {
  std::string_view missing;
  std::string_view derived;
};

struct Table {
  std::string_view name;
  Key key;
  std::vector<Column> columns;  // after the base columns, in binding order
  std::optional<ShortLayout> shortLayout = std::nullopt;
  std::string_view extraSchema = {};  // further statements (e.g. a trigger)
};

// Positions in tables(): the order of VEQHealthTable.
enum TableId : size_t {
  kSport, kSportItem, kSleep, kSleepItem, kHr, kHrItem,
  kBp, kBpItem, kGps, kGpsItem, kWeight, kActivity, kTableCount
};
static_assert(kTableCount == static_cast<size_t>(VEQHealthTable::kCount));
static_assert(kGpsItem == static_cast<size_t>(VEQHealthTable::kGpsPoint));
static_assert(kActivity == static_cast<size_t>(VEQHealthTable::kActivity));

const std::array<Table, kTableCount>& tables() {
  static const std::array<Table, kTableCount> all = {{
      {"health_sport", {true, "day_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("item_count"), Int("step_goal"),
        Int("interval_minutes"), Int("start_minute"), Int("total_active_time"),
        Int("total_distance"), Int("total_calories"), Int("total_steps"), Text("date_text"),
        Int("day_stamp"), Int("day"), Int("month"), Int("year"), Int("recorded_item_count")}},
      {"health_sport_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("distance"),
        Int("calories"), Int("active_time"), Int("steps"), Int("sport_mode")}},
      {"health_sleep", {true, "start_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("start_stamp"), Int("day_stamp"), Int("day"),
        Int("month"), Int("year"), Text("date_text"), Int("sleep_score"), Int("deep_minutes"),
        Int("light_minutes"), Int("awake_minutes"), Int("awake_count"), Int("deep_count"),
        Int("light_count"), Int("total_minutes"), Int("end_minute"), Int("end_hour"),
        Int("item_count")}},
      {"health_sleep_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("stage_stamp"),
        Int("duration"), Int("sleep_state")}},
      {"health_heart_rate", {true, "day_stamp", false},
       {Text("mac_addr"), Int("day_stamp"), Text("date_text"), Int("day"), Int("month"),
        Int("year"), Int("avg_hr"), Int("min_hr"), Int("warm_up_mins"), Int("anaerobic_mins"),
        Int("max_hr"), Int("limit_mins"), Int("aerobic_mins"), Int("burn_fat_mins"),
        Int("limit_threshold"), Int("aerobic_threshold"), Int("burn_fat_threshold"),
        Int("resting_hr"), Int("start_minute"), Int("item_count")}},
      {"health_heart_rate_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("heart_rate"),
        Int("offset_minute")}},
      {"health_blood_pressure", {true, "day_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("start_minute"), Int("day_stamp"),
        Text("date_text"), Int("day"), Int("month"), Int("year"), Int("systolic"),
        Int("diastolic"), Int("item_count")}},
      {"health_blood_pressure_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("upload_state"), Int("measure_stamp"), Int("day_stamp"),
        Int("serial_number"), Int("offset_minute"), Int("diastolic"), Int("systolic")}},
      // Android tracks carry no day stamp: midnight is the start less the
      // start's own time of day.
      {"health_gps", {true, "start_stamp", false},
       {Text("mac_addr"), Text("track_name"), Int("coordinate_system"), Int("point_interval"),
        Int("point_count"), Int("day_stamp"), Int("start_stamp"), Int("second"), Int("minute"),
        Int("hour"), Int("day"), Int("month"), Int("year")},
       ShortLayout{"day_stamp", "{start_stamp} - ({hour} * 3600 + {minute} * 60 + {second})"}},
      // Android points take the day stamp of their track; a point migrated
      // before its track gets it from the trigger when the track arrives.
      {"health_gps_point", {true, "start_stamp", true},
       {Text("mac_addr"), Int("day_stamp"), Int("start_stamp"), Text("longitude"),
        Text("latitude"), Int("serial_number")},
       ShortLayout{"day_stamp",
                   "SELECT day_stamp FROM health_gps WHERE mac_addr = {mac_addr} "
                   "AND start_stamp = {start_stamp}"},
       "CREATE TRIGGER IF NOT EXISTS health_gps_point_day AFTER INSERT ON health_gps BEGIN "
       "UPDATE health_gps_point SET day_stamp = NEW.day_stamp WHERE mac_addr = NEW.mac_addr "
       "AND start_stamp = NEW.start_stamp AND day_stamp IS NULL; END"},
      {"health_weight", {false, "day_stamp", false},
       {Text("bmi"), Text("body_fat_rate"), Text("muscle_mass"), Text("water_rate"),
        Text("bone_mass"), Text("visceral_fat"), Text("basal_metabolism"), Int("hand_entered"),
        Text("last_weight"), Text("weight_unit"), Text("display_unit"), Text("weight"),
        Int("measure_stamp"), Int("day_stamp"), Int("day"), Int("month"), Int("year")}},
      {"health_activity", {true, "start_stamp", false},
       {Text("mac_addr"), Int("started_on_device"), Int("saved"), Text("hr_values"),
        Int("warm_up_mins"), Int("anaerobic_mins"), Int("limit_mins"), Int("aerobic_mins"),
        Int("burn_fat_mins"), Int("max_hr"), Int("avg_hr"), Int("distance"), Int("calories"),
        Int("duration"), Int("steps"), Int("activity_type"), Int("packet_count"),
        Int("hr_item_count"), Int("hr_interval_minutes"), Int("data_length"),
        Int("start_stamp"), Int("day_stamp"), Int("second"), Int("minute"), Int("hour"),
        Int("day"), Int("month"), Int("year")}},
  }};
  return all;
}

std::vector<Column> allColumns(const Table& t) {
  std::vector<Column> columns = baseColumns();
  columns.insert(columns.end(), t.columns.begin(), t.columns.end());
  return columns;
}

std::string param(size_t n) { return fmt::format("?{}", n); }

// The value expression of every column, and of the primary key for an
// update. A table with one layout takes anonymous placeholders, so the
// database layer insists on the exact argument count. A table with a short
// layout numbers its parameters: the short layout leaves the last long-layout
// parameter unbound (NULL), which is what the CASEs test.
struct Bindings {
  std::vector<std::string> values;
  std::string pk;
};

Bindings bindings(const Table& t, bool update) {
  const std::vector<Column> columns = allColumns(t);
  const size_t n = columns.size();
  Bindings b;
  if (!t.shortLayout) {
    b.values.assign(n, "?");
    b.pk = "?";
    return b;
  }
  size_t missing = 0;  // 1-based position of the column the short layout lacks
  for (size_t i = 0; i < n; ++i)
    if (columns[i].name == t.shortLayout->missing) missing = i + 1;
  const std::string isShort = "CASE WHEN " + param(update ? n + 1 : n) + " IS NULL THEN ";

  std::string derived(t.shortLayout->derived);
  for (size_t i = 0; i < n; ++i) {
    if (i + 1 == missing) continue;
    const std::string token = fmt::format("{{{}}}", columns[i].name);
    const std::string shortParam = param(i + 1 < missing ? i + 1 : i);
    for (size_t at = derived.find(token); at != std::string::npos; at = derived.find(token, at))
      derived.replace(at, token.size(), shortParam);
  }

  for (size_t i = 1; i <= n; ++i) {
    if (i < missing) b.values.push_back(param(i));
    else if (i == missing) b.values.push_back(isShort + "(" + derived + ") ELSE " + param(i) + " END");
    else b.values.push_back(isShort + param(i - 1) + " ELSE " + param(i) + " END");
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

// The columns a table's key compares, in index order: the device key (not
// for weight), the stamp, the serial number (items).
std::vector<std::string_view> keyColumnsOf(const Key& key) {
  std::vector<std::string_view> columns;
  if (key.byDevice) columns.emplace_back("mac_addr");
  columns.push_back(key.stamp);
  if (key.bySerial) columns.emplace_back("serial_number");
  return columns;
}

std::string insertSql(const Table& t) {
  std::vector<std::string> names;
  for (const Column& c : allColumns(t)) names.emplace_back(c.name);
  return "INSERT INTO " + std::string(t.name) + " (" + joined(names, ", ") + ") VALUES (" +
         joined(bindings(t, false).values, ", ") + ")";
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
  const std::vector<std::string_view> keyColumns = keyColumnsOf(t.key);
  std::vector<std::string> sets, keys;
  for (size_t i = 0; i < columns.size(); ++i) {
    const std::string_view name = columns[i].name;
    const bool key = std::find(keyColumns.begin(), keyColumns.end(), name) != keyColumns.end();
    (key ? keys : sets).push_back(std::string(name) + " = " + param(i + 1));
  }
  return "UPDATE " + std::string(t.name) + " SET " + joined(sets, ", ") + " WHERE pk = (SELECT pk FROM " +
         std::string(t.name) + " WHERE " + joined(keys, " AND ") + ")";
}

// Keys are pasted between single quotes as they stand; the new-database
// helper lifts them into bound parameters before running the query.
std::string existsSql(TableId id, std::string_view stamp, std::optional<int64_t> serial,
                      std::string_view macAddr) {
  // Built once per legacy row: appended in place, without temporaries.
  const Table& t = tables()[id];
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
         joined(keyColumnsOf(t.key), ", ") + ");\n";
  if (!t.extraSchema.empty()) sql += std::string(t.extraSchema) + ";\n";
  return sql;
}

}  // namespace

struct VEQSyncSqlManager::Statements {
  std::array<std::string, kTableCount> insert;
  std::array<std::string, kTableCount> update;
  std::array<std::string, kTableCount> updateByKeys;
};

VEQSyncSqlManager::VEQSyncSqlManager() = default;

const VEQSyncSqlManager& VEQSyncSqlManager::shareInstance() {
  static const VEQSyncSqlManager instance;
  return instance;
}

const VEQSyncSqlManager::Statements& VEQSyncSqlManager::s() const {
  static const Statements statements = [] {
    Statements built;
    for (size_t id = 0; id < kTableCount; ++id) {
      built.insert[id] = insertSql(tables()[id]);
      built.update[id] = updateSql(tables()[id]);
      built.updateByKeys[id] = updateByKeysSql(tables()[id]);
    }
    return built;
  }();
  return statements;
}

std::string VEQSyncSqlManager::querySportExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kSport, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::querySleepExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kSleep, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryHrExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kHr, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryBpExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kBp, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryGpsExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kGps, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryActivityExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return existsSql(kActivity, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::querySportItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                         std::string_view macAddr) {
  return existsSql(kSportItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::querySleepItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                         std::string_view macAddr) {
  return existsSql(kSleepItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryHrItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                      std::string_view macAddr) {
  return existsSql(kHrItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryBpItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                      std::string_view macAddr) {
  return existsSql(kBpItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryGpsItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                       std::string_view macAddr) {
  return existsSql(kGpsItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryWeightExistSqlStr(std::string_view dayStr) {
  return existsSql(kWeight, dayStr, std::nullopt, {});
}

const std::string& VEQSyncSqlManager::sportInsertSqlStr() const { return s().insert[kSport]; }
const std::string& VEQSyncSqlManager::sportUpdateSqlStr() const { return s().update[kSport]; }
const std::string& VEQSyncSqlManager::sportItemInsertSqlStr() const { return s().insert[kSportItem]; }
const std::string& VEQSyncSqlManager::sportItemUpdateSqlStr() const { return s().update[kSportItem]; }
const std::string& VEQSyncSqlManager::sleepInsertSqlStr() const { return s().insert[kSleep]; }
const std::string& VEQSyncSqlManager::sleepUpdateSqlStr() const { return s().update[kSleep]; }
const std::string& VEQSyncSqlManager::sleepItemInsertSqlStr() const { return s().insert[kSleepItem]; }
const std::string& VEQSyncSqlManager::sleepItemUpdateSqlStr() const { return s().update[kSleepItem]; }
const std::string& VEQSyncSqlManager::hrInsertSqlStr() const { return s().insert[kHr]; }
const std::string& VEQSyncSqlManager::hrUpdateSqlStr() const { return s().update[kHr]; }
const std::string& VEQSyncSqlManager::hrItemInsertSqlStr() const { return s().insert[kHrItem]; }
const std::string& VEQSyncSqlManager::hrItemUpdateSqlStr() const { return s().update[kHrItem]; }
const std::string& VEQSyncSqlManager::bpInsertSqlStr() const { return s().insert[kBp]; }
const std::string& VEQSyncSqlManager::bpUpdateSqlStr() const { return s().update[kBp]; }
const std::string& VEQSyncSqlManager::bpItemInsertSqlStr() const { return s().insert[kBpItem]; }
const std::string& VEQSyncSqlManager::bpItemUpdateSqlStr() const { return s().update[kBpItem]; }
const std::string& VEQSyncSqlManager::gpsInsertSqlStr() const { return s().insert[kGps]; }
const std::string& VEQSyncSqlManager::gpsUpdateSqlStr() const { return s().update[kGps]; }
const std::string& VEQSyncSqlManager::gpsItemInsertSqlStr() const { return s().insert[kGpsItem]; }
const std::string& VEQSyncSqlManager::gpsItemUpdateSqlStr() const { return s().update[kGpsItem]; }
const std::string& VEQSyncSqlManager::weightInsertSqlStr() const { return s().insert[kWeight]; }
const std::string& VEQSyncSqlManager::weightUpdateSqlStr() const { return s().update[kWeight]; }
const std::string& VEQSyncSqlManager::activityInsertSqlStr() const { return s().insert[kActivity]; }
const std::string& VEQSyncSqlManager::activityUpdateSqlStr() const { return s().update[kActivity]; }

const std::string& VEQSyncSqlManager::insertSqlStr(VEQHealthTable table) const {
  return s().insert[static_cast<size_t>(table)];
}
const std::string& VEQSyncSqlManager::updateSqlStr(VEQHealthTable table) const {
  return s().update[static_cast<size_t>(table)];
}
const std::string& VEQSyncSqlManager::updateByKeysSqlStr(VEQHealthTable table) const {
  return s().updateByKeys[static_cast<size_t>(table)];
}

std::string_view VEQSyncSqlManager::tableName(VEQHealthTable table) { return tables()[static_cast<size_t>(table)].name; }

const std::vector<std::string_view>& VEQSyncSqlManager::recordColumns(VEQHealthTable table) {
  static const std::array<std::vector<std::string_view>, kTableCount> columns = [] {
    std::array<std::vector<std::string_view>, kTableCount> all;
    for (size_t id = 0; id < kTableCount; ++id) {
      for (const Column& c : tables()[id].columns) all[id].push_back(c.name);
    }
    return all;
  }();
  return columns[static_cast<size_t>(table)];
}

std::vector<std::string_view> VEQSyncSqlManager::keyColumns(VEQHealthTable table) {
  return keyColumnsOf(tables()[static_cast<size_t>(table)].key);
}

bool VEQSyncSqlManager::keyHasDevice(VEQHealthTable table) { return tables()[static_cast<size_t>(table)].key.byDevice; }

const std::vector<size_t>& VEQSyncSqlManager::keyPositions(VEQHealthTable table) {
  static const std::array<std::vector<size_t>, kTableCount> positions = [] {
    std::array<std::vector<size_t>, kTableCount> all;
    for (size_t id = 0; id < kTableCount; ++id) {
      const std::vector<std::string_view>& columns = recordColumns(static_cast<VEQHealthTable>(id));
      for (std::string_view key : keyColumns(static_cast<VEQHealthTable>(id))) {
        const auto at = std::find(columns.begin(), columns.end(), key);
        if (at == columns.end()) throw std::logic_error("key column " + std::string(key) + " is not a record column");
        all[id].push_back(static_cast<size_t>(at - columns.begin()));
      }
    }
    return all;
  }();
  return positions[static_cast<size_t>(table)];
}

const std::string& VEQSyncSqlManager::highestKeySqlStr(VEQHealthTable table) {
  static const std::array<std::string, kTableCount> queries = [] {
    std::array<std::string, kTableCount> all;
    for (size_t id = 0; id < kTableCount; ++id) {
      const Table& t = tables()[id];
      std::vector<std::string_view> ordered = keyColumnsOf(t.key);
      if (t.key.byDevice) ordered.erase(ordered.begin());  // the device is the one compared
      all[id] = "SELECT " + joined(ordered, ", ") + " FROM " + std::string(t.name) +
                (t.key.byDevice ? " WHERE mac_addr = ?" : "") + " ORDER BY " + joined(ordered, " DESC, ") +
                " DESC LIMIT 1";
    }
    return all;
  }();
  return queries[static_cast<size_t>(table)];
}

std::string_view VEQSyncSqlManager::shortLayoutOmits(VEQHealthTable table) {
  const Table& t = tables()[static_cast<size_t>(table)];
  return t.shortLayout ? t.shortLayout->missing : std::string_view();
}

std::string VEQSyncSqlManager::healthSchemaSql() {
  std::string sql;
  for (const Table& t : tables()) sql += schemaSql(t);
  return sql;
}

const std::vector<std::string>& VEQSyncSqlManager::healthTableNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> out;
    for (const Table& t : tables()) out.emplace_back(t.name);
    return out;
  }();
  return names;
}

}  // namespace veq
