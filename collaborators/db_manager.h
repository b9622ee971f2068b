// db_manager.h — the new-database helper: exists queries and the UPDATE /
// INSERT texts of a model.
//
// querySyncExistDataWithSqlDb runs a query that selects "pk" of at most one
// record. The query texts carry their keys as literals; before running, the
// literals compared in the WHERE clause are lifted into bound parameters
// (see sql_literals.h), so every query of one shape shares one prepared
// statement. A query that fails answers false and leaves *existPk alone.
//
// Only record look-ups run. Legacy keys are pasted into the texts between
// quotes as they stand, so a key holding a quote can turn a look-up into
// another query (x' OR '1'='1 would find some other device's record, which
// would then be overwritten). A text runs only when, lifted, it reads
//     SELECT pk FROM <table> WHERE <k1> = ? [AND <k2> = ?]…
// with <table> a table of the new schema and k1, k2… exactly that table's
// key columns, each once, in any order: for a health table the columns its
// exists queries compare (VEQSyncSqlManager::keyColumns), for a settings
// table its model's look-up index ("mac_addr", and "alarm_id" for alarms).
// Anything else answers "no record" without running and is counted in
// refusedLookupCount(); the caller then inserts the row under its own
// (strange) key, and no other device's record can change.
//
// queryHealthRecordExistsDb is querySyncExistDataWithSqlDb for the exists
// query of a health table, as the catalogue writes it, run once per legacy
// row. Each table's look-up is one constant statement
//     SELECT pk FROM <table> WHERE <k1> = ? [AND <k2> = ?]…
// over its key columns (a record look-up by construction). A text that reads
// exactly as that statement with a literal in place of each "?" — a quoted
// text without quotes inside, or a decimal integer — runs it with those
// literals bound, without building or lifting anything: that is exactly the
// statement and the values lifting the text would give. Any other text
// (a key holding a quote, another shape) takes the general path above, with
// its refusals. Before the constant statement runs, the key marks
// (key_marks.h) may answer for it — "no record" for keys above every key
// the table holds for the device, or the record its last run found — which
// is what the statement would find.
// readHealthLookup gives the values the constant statement is run with
// (texts as views into the text, which must outlive them), nullopt when the
// text takes the general path; queryHealthRecordByKeys is the look-up with
// values already read (db must not be null).
//
// getUpdateStrWithModel / getInsertStrWithModel derive the SET list, the
// column list, the placeholders and the values from the model's persisted
// properties, in property order.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/value.h"

namespace veq {

class VEQDBManager {
 public:
  static bool querySyncExistDataWithSqlDb(VEQFMDatabase* db, const std::string& sqlStr, int64_t* existPk);
  // Runs a record look-up under the rule above; nullptr when refused or
  // when it fails.
  static std::unique_ptr<VEQFMResultSet> executeRecordLookup(VEQFMDatabase* db, const std::string& sqlStr);
  static bool queryHealthRecordExistsDb(VEQFMDatabase* db, VEQHealthTable table, const std::string& sqlStr,
                                        int64_t* existPk);
  struct HealthLookupKeys {
    std::array<VEQSqlParam, 3> values;
    size_t count = 0;
    std::span<const VEQSqlParam> span() const { return std::span(values).first(count); }
  };
  static std::optional<HealthLookupKeys> readHealthLookup(VEQHealthTable table, std::string_view sqlStr);
  static bool queryHealthRecordByKeys(VEQFMDatabase* db, VEQHealthTable table, const HealthLookupKeys& keys,
                                      int64_t* existPk);
  // Look-ups refused in the current collaborator state (collaborator_state.h)
  // since it was made: a running count, read as differences.
  static int64_t refusedLookupCount();
  // The key columns a record of a new table is looked up by, sorted; empty
  // for a table that is not a record table.
  static std::vector<std::string> recordKeyColumns(std::string_view table);
  // "col_a = ?,col_b = ?" and the values in the same order.
  static void getUpdateStrWithModel(const VEQModel& model, std::string* keyStr, VEQArray* updateValues);
  // "col_a,col_b", "?,?" and the values in the same order.
  static void getInsertStrWithModel(const VEQModel& model, std::string* keyStr, std::string* valueStr,
                                    VEQArray* insertValues);
};

}  // namespace veq
