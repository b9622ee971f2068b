// sql_literals.h — lifting the literals of a query text into parameters.
//
// Exists and count queries are complete SQL texts with their keys pasted in
// ("SELECT pk FROM t_get_func_main WHERE mac_addr = 'AA:BB'"). Prepared as
// they are, every key would cost its own statement. veqLiftLiterals turns
// such a text into one text per query shape plus the values it held:
//
//   * in a WHERE clause (from the WHERE keyword to the next GROUP, ORDER,
//     LIMIT, HAVING, WINDOW, UNION, INTERSECT or EXCEPT), every '…' string
//     literal ('' is an escaped quote) becomes "?" and its text an argument;
//   * there, every numeric literal that directly follows a comparison
//     operator (=, ==, !=, <>, <, <=, >, >=), optionally signed, becomes "?"
//     and an integer argument (no '.' or exponent) or a real one.
//
// Lifting never changes what the query means: a bound text or number
// compares exactly as the literal did. Anything the scanner does not fully
// understand gives nullopt, and the caller runs the raw text, which then
// behaves exactly as SQLite makes of it (a key with a lone quote in it still
// breaks the query): texts that do not begin with SELECT, unterminated
// quotes, quoted identifiers holding quotes, comments, ';', parameters
// already present (?, :name, @name, $name, #name), prefixed literals such as
// X'00', numbers glued to letters, integers beyond 64 bits, and texts holding
// a NUL byte (SQLite reads a text only up to it).
//
// veqEqualityFilter recognises the shape of a lifted query that selects by
// equalities alone: "SELECT <selected> FROM <table> WHERE <c1> = ? [AND <c2>
// = ?]…" with plain identifiers, one argument per column. With "*" it is the
// one shape a count can be answered from grouped counts; with "pk" the shape
// of a record look-up (db_manager.h).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/value.h"

namespace veq {

struct VEQLiftedQuery {
  std::string sql;
  VEQArray args;
};

std::optional<VEQLiftedQuery> veqLiftLiterals(std::string_view sql);

struct VEQEqualityFilter {
  std::string table;
  std::vector<std::string> columns;  // in query order, matching the arguments
};

std::optional<VEQEqualityFilter> veqEqualityFilter(const VEQLiftedQuery& query, std::string_view selected = "*");

}  // namespace veq
