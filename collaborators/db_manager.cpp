#include "collaborators/db_manager.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "collaborators/collaborator_state.h"
#include "collaborators/key_marks.h"
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

// A health table's constant look-up, split at its parameters: the literal
// that replaces parameter i sits between pieces[i] and pieces[i + 1].
struct LookupShape {
  std::string sql;  // empty when the table has no record look-up
  std::vector<std::string> pieces;
};

using LookupParams = decltype(VEQDBManager::HealthLookupKeys::values);
constexpr size_t kMaxLookupKeys = std::tuple_size_v<LookupParams>;

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
// values; anything else (a doubled quote, a plus sign, a fraction) does not
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

}  // namespace

std::unique_ptr<VEQFMResultSet> VEQDBManager::executeRecordLookup(VEQFMDatabase* db, const std::string& sqlStr) {
  if (!db) return nullptr;
  const std::optional<VEQLiftedQuery> lifted = veqLiftLiterals(sqlStr);
  const std::optional<VEQEqualityFilter> filter = lifted ? veqEqualityFilter(*lifted, "pk") : std::nullopt;
  if (!filter || !isRecordLookup(*filter)) {
    VEQCollaboratorState::current().countRefusedLookup();
    return nullptr;
  }
  return db->executeQuery(lifted->sql, lifted->args);
}

std::vector<std::string> VEQDBManager::recordKeyColumns(std::string_view table) {
  const auto found = lookupKeys().find(std::string(table));
  return found == lookupKeys().end() ? std::vector<std::string>{} : found->second;
}

int64_t VEQDBManager::refusedLookupCount() { return VEQCollaboratorState::current().refusedLookups(); }

bool VEQDBManager::querySyncExistDataWithSqlDb(VEQFMDatabase* db, const std::string& sqlStr, int64_t* existPk) {
  auto rs = executeRecordLookup(db, sqlStr);
  if (!rs || !rs->next()) return false;
  if (existPk) *existPk = rs->longLongIntForColumn("pk");
  return true;
}

std::optional<VEQDBManager::HealthLookupKeys> VEQDBManager::readHealthLookup(VEQHealthTable table,
                                                                            std::string_view sqlStr) {
  const LookupShape& shape = shapeOf(table);
  HealthLookupKeys keys;
  // SQLite would read the text only up to a NUL byte; such a text runs as
  // it stands.
  if (sqlStr.find('\0') != std::string_view::npos) return std::nullopt;
  if (!matchShape(shape, sqlStr, &keys.values)) return std::nullopt;
  keys.count = shape.pieces.size() - 1;
  return keys;
}

bool VEQDBManager::queryHealthRecordExistsDb(VEQFMDatabase* db, VEQHealthTable table, const std::string& sqlStr,
                                             int64_t* existPk) {
  const std::optional<HealthLookupKeys> keys = db ? readHealthLookup(table, sqlStr) : std::nullopt;
  return keys ? queryHealthRecordByKeys(db, table, *keys, existPk) : querySyncExistDataWithSqlDb(db, sqlStr, existPk);
}

bool VEQDBManager::queryHealthRecordByKeys(VEQFMDatabase* db, VEQHealthTable table, const HealthLookupKeys& keys,
                                           int64_t* existPk) {
  int64_t pk = 0;
  switch (veqKnownRecord(db, table, keys.span(), &pk)) {
    case VEQKnownRecord::kAbsent:
      return false;
    case VEQKnownRecord::kFound:
      break;
    case VEQKnownRecord::kUnknown:
      if (!db->queryFirstInteger(shapeOf(table).sql, keys.span(), &pk)) return false;
      veqNoteRecordFound(db, table, keys.span(), pk);
      break;
  }
  if (existPk) *existPk = pk;
  return true;
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
