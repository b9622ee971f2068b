// report.h — the outcome of a run, as text and as JSON.
//
// A MigrationReport holds one entry per legacy table sent to a driver: rows
// in the legacy table; the driver's reports of success and of failure (the
// completion callback's booleans); what became of the rows (inserted,
// updated, kept, skipped — by reason — and failed, from each row's outcome
// report); and the statements that failed in the new database while the
// table ran, with the first one's message. Then the record count of every
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

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "migration/row_outcome.h"

namespace veq {

struct TableOutcome {
  std::string store;
  std::string table;
  int64_t rows = 0;
  int64_t succeeded = 0;  // driver reports of success
  int64_t failed = 0;     // driver reports of failure

  // Row outcomes, indexed by VEQRowOutcome; skips also by reason.
  std::array<int64_t, static_cast<size_t>(VEQRowOutcome::kWriteFailed) + 1> outcomes{};
  std::array<int64_t, static_cast<size_t>(VEQSkipReason::kCount)> skipReasons{};
  int64_t failedStatements = 0;
  std::string firstError;
  bool rolledBack = false;  // stopped by a fatal write error: nothing kept

  // Counts one driver report and the row report that goes with it.
  void count(bool success, const VEQRowReport& row);
  int64_t rowsWith(VEQRowOutcome outcome) const { return outcomes[static_cast<size_t>(outcome)]; }
};

struct MigrationReport {
  std::vector<TableOutcome> tables;
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
