// rejects.h — the rows a run skipped or failed to write, one JSON line each.
//
// `veq-migrate run --rejects FILE` keeps every legacy row whose outcome was
// "skipped" or "write failed" (row_outcome.h), so a support engineer can see
// exactly which rows did not arrive and why:
//
//   {"store":"ios","table":"t_sport_data","rowid":61,"row":{...},
//    "outcome":"skipped","reason":"no_date","detail":"the row's day or time is missing, 0 or negative"}
//   {"store":"ios","table":"t_func_main","rowid":3,"row":{...},
//    "outcome":"write_failed","message":"table t_get_func_main has no column named …"}
//
// "row" holds the legacy row's columns in table order with their SQLite
// values (BLOBs as text, invalid UTF-8 replaced). "rowid" is the row's rowid
// in the legacy table, or null for a table without rowids. Lines follow the
// order in which the driver read the rows.
//
// How the rowid is found: the driver reads a table with a plain full scan,
// which visits rows in rowid order; the rejects of a table are kept (with
// their place in that order) until the table ends, and then one
// "SELECT rowid … NOT INDEXED" scan — the same order, never an index's —
// gives the rowids of those places. Tables without rejects cost nothing.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "files/problem.h"
#include "collaborators/fmdb.h"
#include "migration/row_outcome.h"

namespace veq {

class RejectsFile {
 public:
  // A file that keeps nothing when `path` is "".
  explicit RejectsFile(std::string path) : path_(std::move(path)) {}

  // Creates (truncates) the file.
  Problem open();
  bool enabled() const { return !path_.empty(); }

  // Notes the `position`-th row of the table being migrated when its report
  // is a skip or a failure; other outcomes are ignored.
  void note(const std::string& store, const std::string& table, int64_t position, const VEQRowReport& report);
  // Writes the noted rows of the table just migrated, with their rowids read
  // from `legacy`. False when the file could not be written.
  bool finishTable(VEQFMDatabase& legacy, const std::string& table);
  // Rows written so far.
  int64_t written() const { return written_; }

 private:
  struct Pending {
    int64_t position;
    std::string lineWithoutRowid;  // the line's JSON, rowid filled in later
  };

  std::string path_;
  std::ofstream file_;
  std::vector<Pending> pending_;
  int64_t written_ = 0;
};

}  // namespace veq
