// health_tables.h — the new database's health tables, described as data.
//
// Each table is one description: its name, the columns of its record in the
// order the conversions bind them, and the key its exists query selects on.
// The SQL catalogue derives everything else from these descriptions (the
// schema, the index that serves the exists query, the exists query itself
// and both statements: health_sql.h), so a column list is written down
// exactly once. docs/health_schema.md describes the same tables.
//
// Every table opens with the six base columns (baseColumns()) that the base
// values fill: the integer 1 and five empty texts. A table's `columns`
// follow them. Descriptions are built on first use and live for the process;
// they never change.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace veq {

// The new health tables, in schema order.
enum class VEQHealthTable : uint8_t {
  kSport, kSportItem, kSleep, kSleepItem, kHeartRate, kHeartRateItem,
  kBloodPressure, kBloodPressureItem, kGps, kGpsPoint, kWeight, kActivity, kCount
};

namespace health_tables {

constexpr size_t kTableCount = static_cast<size_t>(VEQHealthTable::kCount);

enum class Affinity { Integer, Text };

struct Column {
  std::string_view name;
  Affinity affinity;
};

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

// The six columns that open every health table.
const std::vector<Column>& baseColumns();
// Every table, in the order of VEQHealthTable.
const std::array<Table, kTableCount>& tables();
inline const Table& table(VEQHealthTable id) { return tables()[static_cast<size_t>(id)]; }
// The base columns followed by the table's own.
std::vector<Column> allColumns(const Table& t);
// The columns a key compares, in index order: the device key (not for
// weight), the stamp, the serial number (items).
std::vector<std::string_view> keyColumns(const Key& key);

}  // namespace health_tables
}  // namespace veq
