// fmdb_result_set.h — the rows of one query of the database layer (fmdb.h).
//
// VEQFMResultSet steps a query; it releases its statement back to the cache
// when closed or destroyed. Column look-ups by name are case-insensitive.
//
// Closing the database closes its open result sets first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "collaborators/value.h"

struct sqlite3_stmt;

namespace veq {

class VEQFMDatabase;
struct VEQCachedStatement;

class VEQFMResultSet {
 public:
  ~VEQFMResultSet();
  VEQFMResultSet(const VEQFMResultSet&) = delete;
  VEQFMResultSet& operator=(const VEQFMResultSet&) = delete;

  // Advances to the next row; false at the end or on error.
  bool next();
  void close();

  int columnCount() const;
  std::string columnName(int index) const;
  // -1 when the current statement has no such column.
  int columnIndexForName(std::string_view name) const;

  bool columnIsNull(std::string_view name) const;
  std::string stringForColumn(std::string_view name) const;  // NULL → ""
  int64_t longLongIntForColumn(std::string_view name) const;
  int intForColumn(std::string_view name) const;
  bool boolForColumn(std::string_view name) const;
  double doubleForColumn(std::string_view name) const;
  VEQValue objectForColumn(std::string_view name) const;
  VEQValue objectForColumnIndex(int index) const;
  // The same value, assigned into *value in place (VEQValue::assignText):
  // a reader that refills one row reuses its texts' storage.
  void assignColumnIndex(int index, VEQValue* value) const;
  // Whether the value at `index` is a BLOB, which objectForColumnIndex
  // gives as a text of its bytes.
  bool columnIsBlobAtIndex(int index) const;
  // The current row as a dictionary of column name to value.
  VEQDict resultDictionary() const;

 private:
  friend class VEQFMDatabase;
  VEQFMResultSet(VEQFMDatabase* db, sqlite3_stmt* stmt, VEQCachedStatement* entry);

  VEQFMDatabase* db_;
  sqlite3_stmt* stmt_;
  VEQCachedStatement* entry_;  // the statement's cache entry, or null
};

}  // namespace veq
