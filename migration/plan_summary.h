// plan_summary.h — what the session's plan calls report.
//
// A TableSummary describes one legacy table sent to its driver: rows in the
// legacy table; the driver's reports of success and of failure (the
// completion callback's booleans); what became of the rows (inserted,
// updated, kept, skipped — by reason — and failed, from each row's outcome
// report); the statements that failed in the new database while the table
// ran, with the first one's message; and whether the table was rolled back.
//
// A MigrationSummary gathers the tables of one store or of all stores in the
// order they ran, the tables a store held that no driver converts, and, when
// the run stopped, why: "<cause> while migrating <store> <table>; that table
// was rolled back and the run stopped". A run stops after a table at whose
// end the new database saw a fatal error (I/O, full disk, lost lock, corrupt
// file, no memory …: nothing more can be trusted to it), the legacy store
// could not be read to the table's end, or the table's COMMIT failed after
// rows were written. The stopping table's summary is included, rolledBack set.
//
// A MigrationListener hears each table start and finish and each row's
// outcome as the driver reports it; any member may be left empty. A
// listener that throws MigrationStopped from rowMigrated stops the run as a
// fatal error does, its text being the cause; thrown from tableStarted it
// stops the run before the table's first row (the table is listed, rolled
// back, with nothing written; tableFinished is not called for it). Any other
// exception rolls the table in progress back and reaches the plan call's
// caller.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "migration/row_outcome.h"

namespace veq {

class VEQFMDatabase;

struct TableSummary {
  std::string store;  // the kind's label: "ios", "android", "android_cloud"
  std::string table;
  int64_t rows = 0;       // in the legacy table (-1: could not be counted)
  int64_t succeeded = 0;  // driver reports of success
  int64_t failed = 0;     // driver reports of failure

  // Row outcomes, indexed by VEQRowOutcome; skips also by reason.
  std::array<int64_t, static_cast<size_t>(VEQRowOutcome::kWriteFailed) + 1> outcomes{};
  std::array<int64_t, static_cast<size_t>(VEQSkipReason::kCount)> skipReasons{};
  int64_t failedStatements = 0;  // in the new database, since the table began
  std::string firstError;        // the first of them's message
  bool rolledBack = false;       // stopped by a fatal error: nothing kept

  // Counts one driver report and the row report that goes with it.
  void count(bool success, const VEQRowReport& row);
  int64_t rowsWith(VEQRowOutcome outcome) const { return outcomes[static_cast<size_t>(outcome)]; }
};

struct MigrationSummary {
  std::vector<TableSummary> tables;
  std::vector<std::pair<std::string, std::string>> notConverted;  // store label, table
  std::optional<std::string> stopReason;                           // none: every table ran
  int stopCode = 0;  // with stopReason: MigrationStopped::code() (SQLITE_FULL for a full disk …)

  bool stopped() const { return stopReason.has_value(); }
};

struct MigrationListener {
  // Before the table's first row; `table` holds its store, name and rows.
  std::function<void(const TableSummary& table)> tableStarted;
  // After each row: its place in the driver's reading order (from 0), the
  // driver's report and the row's outcome. `table` holds the counts so far.
  std::function<void(const TableSummary& table, int64_t position, const VEQRowReport& row)> rowMigrated;
  // After the table's transaction ended, committed or rolled back, with the
  // legacy store it was read from.
  std::function<void(const TableSummary& table, VEQFMDatabase& legacy)> tableFinished;
};

// Unwinds a driver at a fatal error; the plan calls catch it and report it
// as the summary's stopReason and stopCode.
class MigrationStopped : public std::runtime_error {
 public:
  explicit MigrationStopped(const std::string& cause, int code = 0) : std::runtime_error(cause), code_(code) {}
  // The SQLite primary result code of the fatal error; 0 when a listener
  // stopped the run.
  int code() const { return code_; }

 private:
  int code_;
};

}  // namespace veq
