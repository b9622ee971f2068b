// report.h — the outcome of a run, as text and as JSON.
//
// A MigrationReport holds one entry per legacy table sent to a driver (rows
// in the legacy table, reports of success and of failure from the driver's
// completion callback), the record count of every new table after the run,
// the statements that failed in the new database during the run, and the
// legacy tables that were present but that no driver converts.
//
// The run succeeded when no report was a failure and no statement failed.
//
// JSON form (keys in this order):
//   {"tables": [{"store","table","rows","succeeded","failed"}, ...],
//    "new_records": {table: count, ...}, "failed_statements": n,
//    "not_converted": [{"store","table"}, ...], "seconds": s, "ok": bool}
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace veq {

struct TableOutcome {
  std::string store;
  std::string table;
  int64_t rows = 0;
  int64_t succeeded = 0;
  int64_t failed = 0;
};

struct MigrationReport {
  std::vector<TableOutcome> tables;
  std::vector<std::pair<std::string, int64_t>> newRecords;  // table, records
  int64_t failedStatements = 0;
  std::vector<std::pair<std::string, std::string>> notConverted;  // store, table
  double seconds = 0;

  bool succeeded() const;
};

void printReport(const MigrationReport& report, std::ostream& out);
std::string reportJson(const MigrationReport& report);

}  // namespace veq
