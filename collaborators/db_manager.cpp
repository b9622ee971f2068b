#include "collaborators/db_manager.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "collaborators/sql_literals.h"
#include "collaborators/sync_sql_manager.h"

namespace veq {

namespace {

// `count` items made by `item(i)`, joined by commas.
template <typename Item>
std::string joinedByCommas(size_t count, Item item) {
  std::string out;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) out += ',';
    out += item(i);
  }
  return out;
}

// Key columns of every table a record look-up may read, sorted.
const std::unordered_map<std::string, std::vector<std::string>>& lookupKeys() {
  static const std::unordered_map<std::string, std::vector<std::string>> keys = [] {
    std::unordered_map<std::string, std::vector<std::string>> all;
    for (size_t t = 0; t < static_cast<size_t>(VEQHealthTable::kCount); ++t) {
      const auto table = static_cast<VEQHealthTable>(t);
      std::vector<std::string>& columns = all[std::string(VEQSyncSqlManager::tableName(table))];
      for (std::string_view c : VEQSyncSqlManager::keyColumns(table)) columns.emplace_back(c);
    }
    for (const VEQModelSchema* schema : veqAllModelSchemas()) {
      if (!schema->tableName.empty()) all[schema->tableName] = schema->indexColumns;
    }
    for (auto& [table, columns] : all) std::sort(columns.begin(), columns.end());
    return all;
  }();
  return keys;
}

bool isRecordLookup(const VEQEqualityFilter& filter) {
  const auto found = lookupKeys().find(filter.table);
  if (found == lookupKeys().end()) return false;
  std::vector<std::string> columns = filter.columns;
  std::sort(columns.begin(), columns.end());
  return columns == found->second;
}

std::atomic<int64_t> gRefusedLookups{0};

// A health table's constant look-up, split at its parameters: the literal
// that replaces parameter i sits between pieces[i] and pieces[i + 1].
struct LookupShape {
  std::string sql;  // empty when the table has no record look-up
  std::vector<std::string> pieces;
};

constexpr size_t kMaxLookupKeys = 3;
using LookupParams = std::array<VEQSqlParam, kMaxLookupKeys>;

LookupShape buildShape(VEQHealthTable table) {
  LookupShape shape;
  const std::vector<std::string_view> keys = VEQSyncSqlManager::keyColumns(table);
  std::string sql = "SELECT pk FROM " + std::string(VEQSyncSqlManager::tableName(table)) + " WHERE ";
  VEQArray placeholders;
  for (size_t i = 0; i < keys.size(); ++i) {
    if (i > 0) sql += " AND ";
    sql += std::string(keys[i]) + " = ?";
    placeholders.emplace_back(0);
  }
  // Only a statement the look-up rule accepts may run without it.
  const std::optional<VEQEqualityFilter> filter = veqEqualityFilter({sql, placeholders}, "pk");
  if (keys.size() > kMaxLookupKeys || !filter || !isRecordLookup(*filter)) return shape;
  shape.sql = sql;
  for (size_t from = 0;;) {
    const size_t at = sql.find('?', from);
    shape.pieces.push_back(sql.substr(from, at == std::string::npos ? std::string::npos : at - from));
    if (at == std::string::npos) break;
    from = at + 1;
  }
  return shape;
}

const LookupShape& shapeOf(VEQHealthTable table) {
  static const std::array<LookupShape, static_cast<size_t>(VEQHealthTable::kCount)> shapes = [] {
    std::array<LookupShape, static_cast<size_t>(VEQHealthTable::kCount)> all;
    for (size_t t = 0; t < all.size(); ++t) all[t] = buildShape(static_cast<VEQHealthTable>(t));
    return all;
  }();
  return shapes[static_cast<size_t>(table)];
}

// Reads `text` as the shape with one literal per parameter: '…' without a
// quote inside (so no escape), or an optionally negative decimal integer
// within 64 bits. These are the literals lifting turns into exactly these
// values; anything else (a doubled quote, a sign, a fraction) does not
// match and goes the general way.
bool matchShape(const LookupShape& shape, std::string_view text, LookupParams* params) {
  if (shape.sql.empty()) return false;
  size_t at = 0;
  for (size_t p = 0;; ++p) {
    const std::string& piece = shape.pieces[p];
    if (text.compare(at, piece.size(), piece) != 0) return false;
    at += piece.size();
    if (p + 1 == shape.pieces.size()) return at == text.size();
    if (at < text.size() && text[at] == '\'') {
      const size_t close = text.find('\'', at + 1);
      if (close == std::string_view::npos) return false;
      (*params)[p] = VEQSqlParam::text(text.substr(at + 1, close - at - 1));
      at = close + 1;
      continue;
    }
    size_t end = at < text.size() && text[at] == '-' ? at + 1 : at;
    const size_t digitsFrom = end;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    int64_t number = 0;
    const auto [stop, ec] = std::from_chars(text.data() + at, text.data() + end, number);
    if (end == digitsFrom || ec != std::errc() || stop != text.data() + end) return false;
    (*params)[p] = VEQSqlParam::integer(number);
    at = end;
  }
}

// ---------------------------------------------------------------------------
// Keys known absent
//
// Most look-ups of a first run find nothing. For a health table that was
// empty when the filter last got in step with it, a Bloom filter of the keys
// written since answers those from memory: a key it has never seen is
// certainly not in the table; any other is looked up in SQLite as usual (so
// a found record's pk always comes from the table). The filter only ever
// errs towards "maybe", so it stays right when records go away; it must see
// every key that arrives, so it is in step only while the connection's
// change stamp is the one it last saw (every write it is told of moves that
// stamp along). Out of step — a write it was not told about, another
// connection's commit, a new connection — it starts again if the table is
// empty and otherwise stands aside (look-ups go to SQLite) until the next
// time it is out of step; after a few times it stands aside for good.
//
// Keys are compared as SQLite compares them in the key columns: a text in a
// TEXT column byte for byte, a value in an INTEGER column as the integer it
// stores. So a key is hashed from the canonical text of each part (an
// integer in decimal, a text as it is); a text for an INTEGER column that is
// not a plain decimal integer ("0100", "1e2") has no canonical form, and its
// look-up goes to SQLite.

constexpr int kBloomProbes = 6;
constexpr size_t kFilterWords = size_t{1} << 14;    // 1 MiB of bits
constexpr size_t kFilterKeys = kFilterWords * 64 / 8;  // 8 bits a key: under 3 % maybes
constexpr int kOutOfStepLimit = 8;

struct KeyFilter {
  VEQFMDatabase::ChangeStamp stamp;  // the stamp the filter is in step with
  bool usable = false;               // in step and started from an empty table
  int outOfStep = 0;
  std::array<bool, kMaxLookupKeys> integerColumn{};
  std::vector<uint64_t> bits;
  size_t count = 0;

  static uint64_t step(uint64_t h) { return ((h >> 31) ^ (h * 0x9E3779B97F4A7C15ull)) | 1; }
  void add(uint64_t h) {
    const uint64_t mask = bits.size() * 64 - 1, by = step(h);
    for (int i = 0; i < kBloomProbes; ++i, h += by) bits[(h & mask) / 64] |= uint64_t{1} << (h & 63);
    if (++count > 2 * kFilterKeys) usable = false;  // too full to help
  }
  bool mayContain(uint64_t h) const {
    const uint64_t mask = bits.size() * 64 - 1, by = step(h);
    for (int i = 0; i < kBloomProbes; ++i, h += by)
      if (!((bits[(h & mask) / 64] >> (h & 63)) & 1)) return false;
    return true;
  }
};

struct KeyFilters {
  std::mutex mutex;
  std::map<std::pair<const VEQFMDatabase*, VEQHealthTable>, KeyFilter> byTable;
};

KeyFilters& keyFilters() {
  static KeyFilters filters;
  return filters;
}

bool isPlainDecimal(std::string_view text) {
  const size_t sign = !text.empty() && text[0] == '-' ? 1 : 0;
  if (text.size() == sign || (text[sign] == '0' && (text.size() > 1 || sign))) return false;
  int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && end == text.data() + text.size();
}

// Mixes one key part, in canonical form, into `h`; false when it has none.
bool mixPart(uint64_t* h, bool integerColumn, bool isText, std::string_view text, int64_t number) {
  char digits[24];
  if (!isText) {
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text = std::string_view(digits, static_cast<size_t>(end - digits));
  } else if (integerColumn && !isPlainDecimal(text)) {
    return false;
  }
  *h = (*h ^ std::hash<std::string_view>{}(text)) * 0x100000001B3ull + text.size();
  return true;
}

// Starts the filter again when the table is empty, else stands it aside.
void restart(VEQFMDatabase* db, VEQHealthTable table, KeyFilter* filter) {
  filter->usable = false;
  filter->stamp = db->changeStamp();
  const std::string name(VEQSyncSqlManager::tableName(table));
  if (auto rs = db->executeQuery("SELECT 1 FROM " + name + " LIMIT 1"); !rs || rs->next() || db->hadError()) return;
  const std::vector<std::string_view> keys = VEQSyncSqlManager::keyColumns(table);
  for (size_t i = 0; i < keys.size(); ++i) {
    auto info = db->executeQuery("SELECT type FROM pragma_table_info(?) WHERE name = ?", {name, keys[i]});
    if (!info || !info->next()) return;
    filter->integerColumn[i] = info->stringForColumn("type").find("INT") != std::string::npos;
  }
  filter->bits.assign(kFilterWords, 0);
  filter->count = 0;
  filter->usable = true;
  filter->stamp = db->changeStamp();
}

// The table's filter, in step with the database. Called with the mutex held.
KeyFilter& filterInStep(VEQFMDatabase* db, VEQHealthTable table) {
  KeyFilter& filter = keyFilters().byTable[{db, table}];
  const VEQFMDatabase::ChangeStamp now = db->changeStamp();
  if (filter.stamp.connection != now.connection) filter = KeyFilter();
  if (filter.stamp == now) return filter;
  if (++filter.outOfStep > kOutOfStepLimit) {
    filter.usable = false;
    filter.bits = {};
    filter.stamp = now;
    return filter;
  }
  restart(db, table, &filter);
  return filter;
}

}  // namespace

std::unique_ptr<VEQFMResultSet> VEQDBManager::executeRecordLookup(VEQFMDatabase* db, const std::string& sqlStr) {
  if (!db) return nullptr;
  const std::optional<VEQLiftedQuery> lifted = veqLiftLiterals(sqlStr);
  const std::optional<VEQEqualityFilter> filter = lifted ? veqEqualityFilter(*lifted, "pk") : std::nullopt;
  if (!filter || !isRecordLookup(*filter)) {
    gRefusedLookups.fetch_add(1, std::memory_order_relaxed);
    return nullptr;
  }
  return db->executeQuery(lifted->sql, lifted->args);
}

std::vector<std::string> VEQDBManager::recordKeyColumns(std::string_view table) {
  const auto found = lookupKeys().find(std::string(table));
  return found == lookupKeys().end() ? std::vector<std::string>{} : found->second;
}

int64_t VEQDBManager::refusedLookupCount() { return gRefusedLookups.load(std::memory_order_relaxed); }

bool VEQDBManager::querySyncExistDataWithSqlDb(VEQFMDatabase* db, const std::string& sqlStr, int64_t* existPk) {
  auto rs = executeRecordLookup(db, sqlStr);
  if (!rs || !rs->next()) return false;
  if (existPk) *existPk = rs->longLongIntForColumn("pk");
  return true;
}

bool VEQDBManager::queryHealthRecordExistsDb(VEQFMDatabase* db, VEQHealthTable table, const std::string& sqlStr,
                                             int64_t* existPk) {
  const LookupShape& shape = shapeOf(table);
  LookupParams params;
  if (!db || !matchShape(shape, sqlStr, &params)) return querySyncExistDataWithSqlDb(db, sqlStr, existPk);
  {
    std::lock_guard<std::mutex> lock(keyFilters().mutex);
    const KeyFilter& filter = filterInStep(db, table);
    if (filter.usable) {
      uint64_t h = 0;
      bool canonical = true;
      for (size_t i = 0; canonical && i + 1 < shape.pieces.size(); ++i)
        canonical = mixPart(&h, filter.integerColumn[i], params[i].isText, params[i].chars, params[i].number);
      if (canonical && !filter.mayContain(h)) return false;
    }
  }
  int64_t pk = 0;
  if (!db->queryFirstInteger(shape.sql, std::span(params).first(shape.pieces.size() - 1), &pk)) return false;
  if (existPk) *existPk = pk;
  return true;
}

void VEQDBManager::healthRecordWritten(VEQFMDatabase* db, VEQHealthTable table,
                                       const VEQFMDatabase::ChangeStamp& before,
                                       const std::function<VEQArray()>& keyValues) {
  if (!db) return;
  std::lock_guard<std::mutex> lock(keyFilters().mutex);
  const auto found = keyFilters().byTable.find({db, table});
  if (found == keyFilters().byTable.end()) return;
  KeyFilter& filter = found->second;
  if (!(filter.stamp == before)) return;  // out of step already: dealt with when next used
  if (filter.usable) {
    const VEQArray keys = keyValues();
    uint64_t h = 0;
    bool canonical = !keys.empty() && keys.size() <= kMaxLookupKeys;
    for (size_t i = 0; canonical && i < keys.size(); ++i) {
      const VEQValue& k = keys[i];
      canonical = (k.kind() == VEQValue::Kind::Integer || k.kind() == VEQValue::Kind::Text) &&
                  mixPart(&h, filter.integerColumn[i], k.isText(), k.text(), k.integerValue());
    }
    if (!canonical) return;  // the stored form is SQLite's to decide: out of step, restarted when next used
    filter.add(h);
  }
  filter.stamp = db->changeStamp();
}

std::optional<VEQArray> VEQDBManager::healthLookupKeys(VEQHealthTable table, std::string_view sqlStr) {
  const LookupShape& shape = shapeOf(table);
  LookupParams params;
  if (!matchShape(shape, sqlStr, &params)) return std::nullopt;
  VEQArray keys;
  for (size_t i = 0; i + 1 < shape.pieces.size(); ++i) {
    if (params[i].isText) {
      keys.emplace_back(params[i].chars);
    } else {
      keys.emplace_back(static_cast<long long>(params[i].number));
    }
  }
  return keys;
}

void VEQDBManager::getUpdateStrWithModel(const VEQModel& model, std::string* keyStr, VEQArray* updateValues) {
  const auto& properties = model.schema().properties;
  if (keyStr) *keyStr = joinedByCommas(properties.size(), [&](size_t i) { return properties[i].column + " = ?"; });
  if (updateValues) *updateValues = model.values();
}

void VEQDBManager::getInsertStrWithModel(const VEQModel& model, std::string* keyStr, std::string* valueStr,
                                         VEQArray* insertValues) {
  const auto& properties = model.schema().properties;
  if (keyStr) *keyStr = joinedByCommas(properties.size(), [&](size_t i) { return properties[i].column; });
  if (valueStr) *valueStr = joinedByCommas(properties.size(), [](size_t) { return std::string("?"); });
  if (insertValues) *insertValues = model.values();
}

}  // namespace veq
