// schema_installer.h — creates the new database's tables.
//
// veqInstallSchema creates, inside one savepoint (a transaction of its own, or
// nested in the caller's), the table and look-up index of every stored model
// (models.h), then the health tables and their indexes (sync_sql_manager.h).
// Every statement is CREATE … IF NOT EXISTS, so installing again — also over
// a database that already holds records — changes nothing and keeps the
// data. Tables that exist with other columns are left as they are.
//
// On failure nothing of the run is kept: the savepoint is rolled back, the
// function returns false and *error (when given) receives the database's
// message.
#pragma once

#include <string>
#include <vector>

#include "collaborators/fmdb.h"

namespace veq {

bool veqInstallSchema(VEQFMDatabase* db, std::string* error);

// Every table veqInstallSchema creates: the settings and capability tables
// in model order, then the health tables in catalogue order.
std::vector<std::string> veqNewTableNames();

}  // namespace veq
