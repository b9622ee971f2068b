#include "collaborators/db_manager.h"

#include <algorithm>
#include <atomic>
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
