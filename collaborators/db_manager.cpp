#include "collaborators/db_manager.h"

#include <optional>

#include "collaborators/sql_literals.h"

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

}  // namespace

bool VEQDBManager::querySyncExistDataWithSqlDb(VEQFMDatabase* db, const std::string& sqlStr, int64_t* existPk) {
  if (!db) return false;
  const std::optional<VEQLiftedQuery> lifted = veqLiftLiterals(sqlStr);
  auto rs = lifted ? db->executeQuery(lifted->sql, lifted->args) : db->executeQuery(sqlStr);
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
