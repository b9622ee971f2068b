// health_sql.h — the SQL of the health tables, derived from their
// descriptions (health_tables.h).
//
//   insertSql        INSERT of every column: the base values, then the
//                    record's values in binding order.
//   streamInsertSql  the same INSERT with its values taken from the record
//                    stream, the eponymous virtual table "veq_record_stream"
//                    whose columns c0, c1, … carry one record's arguments in
//                    the INSERT's order (NULL past the record's last value):
//                    INSERT OR FAIL INTO <table> (…) SELECT c0, c1, … FROM
//                    veq_record_stream. OR FAIL keeps the rows the statement
//                    wrote before a row that breaks a constraint.
//   recordStreamSchema  the virtual table's declaration: as many columns as
//                    the widest table has values.
//   updateSql        the same values, then the primary key ("WHERE pk =").
//   updateByKeysSql  UPDATE of the record whose keys are the record's own,
//                    found by the statement itself; it takes the INSERT's
//                    arguments and leaves the key columns and their index
//                    alone. "" for a table with a short layout.
//   existsSql        SELECT of "pk" with the keys pasted in between single
//                    quotes as they stand (the new-database helper lifts them
//                    into bound parameters before running it).
//   schemaSql        CREATE TABLE, the key index and any extra statements,
//                    each IF NOT EXISTS.
//   highestKeySql    the highest key of the table, for the device bound as
//                    the one parameter when the key has the device.
//
// A table with one layout takes anonymous placeholders, so the database
// layer insists on the exact argument count. A table with a short layout
// numbers its parameters: the short layout leaves the last long-layout
// parameter unbound (NULL), which CASE expressions in the statements test,
// and the schema makes the last column NOT NULL so a list that is merely
// too short cannot pass for the short layout.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collaborators/health_tables.h"

namespace veq::health_tables {

inline constexpr std::string_view kRecordStream = "veq_record_stream";

std::string insertSql(const Table& t);
std::string streamInsertSql(const Table& t);
std::string recordStreamSchema();
std::string updateSql(const Table& t);
std::string updateByKeysSql(const Table& t);
std::string existsSql(const Table& t, std::string_view stamp, std::optional<int64_t> serial,
                      std::string_view macAddr);
std::string schemaSql(const Table& t);
std::string highestKeySql(const Table& t);

}  // namespace veq::health_tables
