// db_manager.h — the new-database helper: exists queries and the UPDATE /
// INSERT texts of a model.
//
// querySyncExistDataWithSqlDb runs a query that selects "pk" of at most one
// record. The query texts carry their keys as literals; before running, the
// literals compared in the WHERE clause are lifted into bound parameters
// (see sql_literals.h), so every query of one shape shares one prepared
// statement. A query that fails answers false and leaves *existPk alone.
//
// getUpdateStrWithModel / getInsertStrWithModel derive the SET list, the
// column list, the placeholders and the values from the model's persisted
// properties, in property order.
#pragma once

#include <cstdint>
#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/value.h"

namespace veq {

class VEQDBManager {
 public:
  static bool querySyncExistDataWithSqlDb(VEQFMDatabase* db, const std::string& sqlStr, int64_t* existPk);
  // "col_a = ?,col_b = ?" and the values in the same order.
  static void getUpdateStrWithModel(const VEQModel& model, std::string* keyStr, VEQArray* updateValues);
  // "col_a,col_b", "?,?" and the values in the same order.
  static void getInsertStrWithModel(const VEQModel& model, std::string* keyStr, std::string* valueStr,
                                    VEQArray* insertValues);
};

}  // namespace veq
