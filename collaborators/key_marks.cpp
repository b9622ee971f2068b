// key_marks.cpp — the highest key per table and device, and the record the
// last probe found, for one transaction.

#include "collaborators/key_marks.h"

#include <algorithm>
#include <array>
#include <cstddef>
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

// A key read the way the index orders it: the device's exact text, then
// the integers (stamp, serial number).
struct Key {
  std::string_view device;
  std::array<int64_t, kMaxOrderedKeys> ordered{};  // the first `count` are set
  size_t count = 0;
};

// The record the table's last probe found, kept while no write could have
// moved it.
struct Found {
  bool valid = false;
  std::string device;
  std::array<int64_t, kMaxOrderedKeys> ordered{};
  int64_t pk = 0;

  bool is(const Key& key) const {
    return valid && key.device == device &&
           std::equal(key.ordered.begin(), key.ordered.begin() + static_cast<std::ptrdiff_t>(key.count),
                      ordered.begin());
  }
};

struct TableMarks {
  std::vector<std::pair<std::string, Mark>> devices;
  size_t last = 0;  // the device found last: rows come many to a device
  Found found;

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
  int64_t inFlight = 0;         // of those, rows of a running stream statement, not yet counted
  std::array<TableMarks, kTableCount> tables;
};

// The connection's marks, forgotten when the connection changed rows the
// marks do not account for.
Marks& currentMarks(VEQFMDatabase* db) {
  Marks& marks = db->transactionCache<Marks>();
  const int64_t changes = db->totalChanges();
  if (!marks.started || marks.expectedChanges != changes + marks.inFlight) {
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

// A look-up parameter, or a written value, as the device's text and as an
// integer the column holds exactly.
std::optional<std::string_view> textOf(const VEQSqlParam& param) {
  return param.isText ? std::optional<std::string_view>(param.chars) : std::nullopt;
}

std::optional<std::string_view> textOf(const VEQValue* value) {
  return value->isText() ? std::optional<std::string_view>(value->text()) : std::nullopt;
}

std::optional<int64_t> integerOf(const VEQSqlParam& param) {
  return param.isText ? canonicalInteger(param.chars) : std::optional<int64_t>(param.number);
}

std::optional<int64_t> integerOf(const VEQValue* value) {
  switch (value->kind()) {
    case VEQValue::Kind::Integer:
    case VEQValue::Kind::Bool:
      return value->integerValue();
    case VEQValue::Kind::Text:
      return canonicalInteger(value->text());
    default:
      return std::nullopt;
  }
}

// The look-up's parameters, or a written record's key values as they are
// stored (keyColumns order), as a key; nullopt when they are not a text
// device and integers.
template <typename Item>
std::optional<Key> keyOf(VEQHealthTable table, std::span<const Item> keys) {
  Key key;
  const size_t first = VEQSyncSqlManager::keyHasDevice(table) ? 1 : 0;
  if (keys.size() <= first || keys.size() - first > kMaxOrderedKeys) return std::nullopt;
  if (first == 1) {
    const std::optional<std::string_view> device = textOf(keys[0]);
    if (!device) return std::nullopt;
    key.device = *device;
  }
  for (size_t i = first; i < keys.size(); ++i) {
    const std::optional<int64_t> value = integerOf(keys[i]);
    if (!value) return std::nullopt;
    key.ordered[key.count++] = *value;
  }
  return key;
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
bool above(const Key& key, const Mark& mark) {
  for (size_t i = 0; i < key.count; ++i) {
    if (key.ordered[i] != mark.key[i]) return key.ordered[i] > mark.key[i];
  }
  return false;
}

// The device's mark, learnt when first asked for; null when it cannot be.
Mark* markOf(VEQFMDatabase* db, VEQHealthTable table, std::string_view device) {
  const size_t t = static_cast<size_t>(table);
  if (Mark* mark = currentMarks(db).tables[t].find(device)) return mark;
  if (currentMarks(db).tables[t].devices.size() >= kMaxDevicesPerTable) return nullptr;
  Mark learnt;
  if (!learnMark(db, table, device, &learnt) || !db->isInTransaction()) return nullptr;
  TableMarks& marks = currentMarks(db).tables[t];
  marks.devices.emplace_back(std::string(device), learnt);
  marks.last = marks.devices.size() - 1;
  return &marks.devices.back().second;
}

}  // namespace

VEQKnownRecord veqKnownRecord(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQSqlParam> keys,
                              int64_t* pk) {
  if (db == nullptr || !db->isInTransaction()) return VEQKnownRecord::kUnknown;
  const std::optional<Key> key = keyOf(table, keys);
  if (!key) return VEQKnownRecord::kUnknown;
  const Found& found = currentMarks(db).tables[static_cast<size_t>(table)].found;
  if (found.is(*key)) {
    if (pk != nullptr) *pk = found.pk;
    return VEQKnownRecord::kFound;
  }
  const Mark* mark = markOf(db, table, key->device);
  if (mark == nullptr || !mark->usable) return VEQKnownRecord::kUnknown;
  return mark->empty || above(*key, *mark) ? VEQKnownRecord::kAbsent : VEQKnownRecord::kUnknown;
}

void veqNoteRecordFound(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQSqlParam> keys, int64_t pk) {
  if (db == nullptr || !db->isInTransaction()) return;
  const std::optional<Key> key = keyOf(table, keys);
  if (!key) return;
  Found& found = currentMarks(db).tables[static_cast<size_t>(table)].found;
  found.valid = true;
  found.device.assign(key->device);
  found.ordered = key->ordered;
  found.pk = pk;
}

void veqNoteRecordKeys(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQValue* const> keys,
                       VEQRecordWrite write) {
  if (db == nullptr || !db->isInTransaction()) return;
  Marks& marks = db->transactionCache<Marks>();
  if (!marks.started) return;  // nothing learnt yet
  if (write == VEQRecordWrite::kStreamed) {
    // Counted once its statement ends; until then it is in flight.
    if (marks.expectedChanges != db->totalChanges() + marks.inFlight) {
      currentMarks(db);  // something else wrote: start over
      return;
    }
    ++marks.expectedChanges;
    ++marks.inFlight;
  } else {
    // Only the write's own rows changed since the marks were last right (an
    // update that found nothing to change changed none), or start over.
    const int64_t own = db->changes();
    if (own > 1 || db->totalChanges() != marks.expectedChanges + marks.inFlight + own) {
      currentMarks(db);
      return;
    }
    marks.expectedChanges += own;
  }

  TableMarks& tableMarks = marks.tables[static_cast<size_t>(table)];
  const std::optional<Key> key = keyOf(table, keys);
  // An update by primary key may have moved any record's keys; a record
  // written with the found keys may now be the one a probe finds first.
  if (write == VEQRecordWrite::kUpdate || (key && tableMarks.found.is(*key))) {
    tableMarks.found.valid = false;
  }
  if (!key) {  // stored as some other text, or as something not an integer
    tableMarks = TableMarks{};  // learnt again from the table
    return;
  }
  Mark* mark = tableMarks.find(key->device);
  if (mark == nullptr || !mark->usable) return;  // learnt from the table when first looked up
  if (mark->empty || above(*key, *mark)) {
    mark->key = key->ordered;
    mark->empty = false;
  }
}

void veqNoteRecordStreamEnded(VEQFMDatabase* db, bool completed) {
  if (db == nullptr || !db->isInTransaction()) return;
  Marks& marks = db->transactionCache<Marks>();
  if (completed) {
    marks.inFlight = 0;  // now among the changes; currentMarks checks the count
  } else {
    marks = Marks{};
  }
}

}  // namespace veq
