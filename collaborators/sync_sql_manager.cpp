// sync_sql_manager.cpp — the catalogue: every statement of every health
// table built once from the table descriptions (health_tables.h) by the SQL
// builder (health_sql.h), and what the layers above ask of the tables. The
// named accessors are in sync_sql_accessors.cpp.

#include "collaborators/sync_sql_manager.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>

#include "collaborators/health_sql.h"

namespace veq {

using health_tables::Column;
using health_tables::kTableCount;
using health_tables::tables;
using health_tables::Table;

struct VEQSyncSqlManager::Statements {
  std::array<std::string, kTableCount> insert;
  std::array<std::string, kTableCount> streamInsert;
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
      built.insert[id] = health_tables::insertSql(tables()[id]);
      built.streamInsert[id] = health_tables::streamInsertSql(tables()[id]);
      built.update[id] = health_tables::updateSql(tables()[id]);
      built.updateByKeys[id] = health_tables::updateByKeysSql(tables()[id]);
    }
    return built;
  }();
  return statements;
}

const std::string& VEQSyncSqlManager::insertSqlStr(VEQHealthTable table) const {
  return s().insert[static_cast<size_t>(table)];
}
const std::string& VEQSyncSqlManager::streamInsertSqlStr(VEQHealthTable table) const {
  return s().streamInsert[static_cast<size_t>(table)];
}
const std::string& VEQSyncSqlManager::updateSqlStr(VEQHealthTable table) const {
  return s().update[static_cast<size_t>(table)];
}
const std::string& VEQSyncSqlManager::updateByKeysSqlStr(VEQHealthTable table) const {
  return s().updateByKeys[static_cast<size_t>(table)];
}

std::string_view VEQSyncSqlManager::tableName(VEQHealthTable table) { return health_tables::table(table).name; }

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
  return health_tables::keyColumns(health_tables::table(table).key);
}

bool VEQSyncSqlManager::keyHasDevice(VEQHealthTable table) { return health_tables::table(table).key.byDevice; }

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
    for (size_t id = 0; id < kTableCount; ++id) all[id] = health_tables::highestKeySql(tables()[id]);
    return all;
  }();
  return queries[static_cast<size_t>(table)];
}

std::string_view VEQSyncSqlManager::shortLayoutOmits(VEQHealthTable table) {
  const Table& t = health_tables::table(table);
  return t.shortLayout ? t.shortLayout->missing : std::string_view();
}

std::string VEQSyncSqlManager::healthSchemaSql() {
  std::string sql;
  for (const Table& t : tables()) sql += health_tables::schemaSql(t);
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
