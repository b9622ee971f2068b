// schema_installer.cpp — one savepoint around the models' and the health
// catalogue's CREATE statements.

#include "collaborators/schema_installer.h"

#include "collaborators/models.h"
#include "collaborators/sync_sql_manager.h"

namespace veq {

namespace {

std::string schemaSql() {
  std::string sql;
  for (const VEQModelSchema* schema : veqAllModelSchemas()) sql += schema->createTableSql();
  sql += VEQSyncSqlManager::healthSchemaSql();
  return sql;
}

bool fail(VEQFMDatabase* db, std::string* error) {
  if (error != nullptr) *error = db->lastErrorMessage();
  return false;
}

}  // namespace

bool veqInstallSchema(VEQFMDatabase* db, std::string* error) {
  // A savepoint opens a transaction when none is running and nests inside
  // the caller's otherwise, so the install is all-or-nothing either way.
  if (!db->executeStatements("SAVEPOINT veq_install_schema")) return fail(db, error);
  if (!db->executeStatements(schemaSql())) {
    fail(db, error);
    db->executeStatements("ROLLBACK TO veq_install_schema; RELEASE veq_install_schema");
    return false;
  }
  return db->executeStatements("RELEASE veq_install_schema") || fail(db, error);
}

std::vector<std::string> veqNewTableNames() {
  std::vector<std::string> names;
  for (const VEQModelSchema* schema : veqAllModelSchemas()) {
    if (!schema->tableName.empty()) names.push_back(schema->tableName);
  }
  const std::vector<std::string>& health = VEQSyncSqlManager::healthTableNames();
  names.insert(names.end(), health.begin(), health.end());
  return names;
}

}  // namespace veq
