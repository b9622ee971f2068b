// key_marks.cpp — the highest key per table and device, for one transaction.

#include "collaborators/key_marks.h"

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace veq {
namespace {

constexpr size_t kMaxDevicesPerTable = 256;
constexpr size_t kMaxOrderedKeys = 2;  // stamp, serial number
constexpr size_t kTableCount = static_cast<size_t>(VEQHealthTable::kCount);

// The highest key one device has in one table.
struct Mark {
  bool usable = true;  // false: something other than integers is on top
  bool empty = true;   // no record at all: every key is above
  std::array<int64_t, kMaxOrderedKeys> key{};
};

struct TableMarks {
  std::vector<std::pair<std::string, Mark>> devices;
  size_t last = 0;  // the device found last: rows come many to a device

  Mark* find(std::string_view device) {
    if (last < devices.size() && devices[last].first == device) return &devices[last].second;
    for (size_t i = 0; i < devices.size(); ++i) {
      if (devices[i].first == device) {
        last = i;
        return &devices[i].second;
      }
    }
    return nullptr;
  }
};

struct Marks {
  bool started = false;
  int64_t expectedChanges = 0;  // the connection's change count the marks account for
  std::array<TableMarks, kTableCount> tables;
};

// The connection's marks, forgotten when the connection changed rows the
// marks do not account for.
Marks& currentMarks(VEQFMDatabase* db) {
  Marks& marks = db->transactionCache<Marks>();
  const int64_t changes = db->totalChanges();
  if (!marks.started || marks.expectedChanges != changes) {
    marks = Marks{};
    marks.started = true;
    marks.expectedChanges = changes;
  }
  return marks;
}

// The integer SQLite reads a text as when it compares it with an integer
// column, for texts whose reading is beyond doubt: an optional '-' and
// decimal digits without a leading zero, within 64 bits ("0" itself too).
std::optional<int64_t> canonicalInteger(std::string_view text) {
  const size_t digits = !text.empty() && text[0] == '-' ? 1 : 0;
  if (text.size() == digits) return std::nullopt;
  if (text[digits] == '0' && (text.size() > digits + 1 || digits == 1)) return std::nullopt;
  int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<int64_t> integerOf(const VEQSqlParam& param) {
  return param.isText ? canonicalInteger(param.chars) : std::optional<int64_t>(param.number);
}

std::optional<int64_t> integerOf(const VEQValue& value) {
  switch (value.kind()) {
    case VEQValue::Kind::Integer:
    case VEQValue::Kind::Bool:
      return value.integerValue();
    case VEQValue::Kind::Text:
      return canonicalInteger(value.text());
    default:
      return std::nullopt;
  }
}

// Reads the highest key `device` has in `table`; false when the query fails.
bool learnMark(VEQFMDatabase* db, VEQHealthTable table, std::string_view device, Mark* mark) {
  VEQArray args;
  if (VEQSyncSqlManager::keyHasDevice(table)) args.emplace_back(device);
  auto rs = db->executeQuery(VEQSyncSqlManager::highestKeySqlStr(table), args);
  if (!rs) return false;
  *mark = Mark{};
  if (!rs->next()) return !db->hadError();
  mark->empty = false;
  for (int i = 0; i < rs->columnCount(); ++i) {
    const VEQValue value = rs->objectForColumnIndex(i);
    if (value.kind() != VEQValue::Kind::Integer) {
      mark->usable = false;
      break;
    }
    mark->key[static_cast<size_t>(i)] = value.integerValue();
  }
  return true;
}

// Whether `key` is greater than `mark` in the index's order.
bool above(const std::array<int64_t, kMaxOrderedKeys>& key, const Mark& mark, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (key[i] != mark.key[i]) return key[i] > mark.key[i];
  }
  return false;
}

}  // namespace

bool veqKeysAboveMark(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQSqlParam> keys) {
  if (db == nullptr || !db->isInTransaction()) return false;
  const size_t first = VEQSyncSqlManager::keyHasDevice(table) ? 1 : 0;
  if (keys.size() <= first || keys.size() - first > kMaxOrderedKeys) return false;
  std::string_view device;
  if (first == 1) {
    if (!keys[0].isText) return false;
    device = keys[0].chars;
  }
  std::array<int64_t, kMaxOrderedKeys> key{};
  for (size_t i = first; i < keys.size(); ++i) {
    const std::optional<int64_t> value = integerOf(keys[i]);
    if (!value) return false;
    key[i - first] = *value;
  }

  const size_t t = static_cast<size_t>(table);
  Mark* mark = currentMarks(db).tables[t].find(device);
  if (mark == nullptr) {
    if (currentMarks(db).tables[t].devices.size() >= kMaxDevicesPerTable) return false;
    Mark learnt;
    if (!learnMark(db, table, device, &learnt) || !db->isInTransaction()) return false;
    TableMarks& marks = currentMarks(db).tables[t];
    marks.devices.emplace_back(std::string(device), learnt);
    marks.last = marks.devices.size() - 1;
    mark = &marks.devices.back().second;
  }
  if (!mark->usable) return false;
  return mark->empty || above(key, *mark, keys.size() - first);
}

void veqNoteRecordKeys(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQValue* const> keys) {
  if (db == nullptr || !db->isInTransaction()) return;
  Marks& marks = db->transactionCache<Marks>();
  if (!marks.started) return;  // nothing learnt yet
  // Only the write's own rows changed since the marks were last right (an
  // update that found nothing to change changed none), or start over.
  const int64_t own = db->changes();
  if (own > 1 || db->totalChanges() != marks.expectedChanges + own) {
    currentMarks(db);
    return;
  }
  marks.expectedChanges += own;

  TableMarks& tableMarks = marks.tables[static_cast<size_t>(table)];
  const size_t first = VEQSyncSqlManager::keyHasDevice(table) ? 1 : 0;
  if (keys.size() <= first || keys.size() - first > kMaxOrderedKeys) {
    tableMarks = TableMarks{};
    return;
  }
  std::string_view device;
  if (first == 1) {
    if (!keys[0]->isText()) {  // stored as some other text: learn the table again
      tableMarks = TableMarks{};
      return;
    }
    device = keys[0]->text();
  }
  Mark* mark = tableMarks.find(device);
  if (mark == nullptr || !mark->usable) return;  // learnt from the table when first looked up

  std::array<int64_t, kMaxOrderedKeys> key{};
  for (size_t i = first; i < keys.size(); ++i) {
    const std::optional<int64_t> value = integerOf(*keys[i]);
    if (!value) {
      mark->usable = false;
      return;
    }
    key[i - first] = *value;
  }
  if (mark->empty || above(key, *mark, keys.size() - first)) {
    mark->key = key;
    mark->empty = false;
  }
}

}  // namespace veq
