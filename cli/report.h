// report.h — the outcome of a run, as text and as JSON.
//
// A MigrationReport holds the library's summary of each legacy table sent to
// a driver (TableSummary, plan_summary.h: rows, the driver's reports, what
// became of the rows, the statements that failed while the table ran, with
// the first one's message). Then the record count of every
// new table after the run, the statements that failed during the whole run,
// and the legacy tables that were present but that no driver converts.
//
// rows = inserted + updated + kept + skipped + failed for every table the
// library converts (an "unstated" count appears only if a routine said
// nothing, which none does).
//
// The run succeeded when no report was a failure, no row failed and no
// statement failed; skipped rows are not failures.
//
// JSON form (keys in this order; "unstated" only when not 0):
//   {"tables": [{"store","table","rows","succeeded","failed",
//                "outcomes": {"inserted","updated","kept","skipped","failed"},
//                "skip_reasons": {reason: n, ...},
//                "failed_statements": n, "first_error": text}, ...],
//    "new_records": {table: count, ...}, "failed_statements": n,
//    "not_converted": [{"store","table"}, ...],
//    "time_zone": {"name", "source"}, "seconds": s, "ok": bool}
// The text form names the zone as "time zone: <name> (<source>)", for
// instance "Asia/Tokyo (tz database /usr/share/zoneinfo)" or
// "local time (platform C library)".
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "migration/plan_summary.h"

namespace veq {

struct MigrationReport {
  std::vector<TableSummary> tables;
  std::vector<std::pair<std::string, int64_t>> newRecords;  // table, records
  int64_t failedStatements = 0;
  std::vector<std::pair<std::string, std::string>> notConverted;  // store, table
  int64_t refusedLookups = 0;         // look-ups a legacy key turned into another query
  std::vector<std::string> problems;  // what else went wrong (each fails the run)
  struct Zone {
    std::string name;
    std::string source;  // where its rules came from
  } timeZone;              // the zone the run worked in
  double seconds = 0;

  bool succeeded() const;
};

void printReport(const MigrationReport& report, std::ostream& out);
// The per-legacy-table part of the text report alone.
void printTableOutcomes(const MigrationReport& report, std::ostream& out);
std::string reportJson(const MigrationReport& report);

}  // namespace veq
