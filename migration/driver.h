// driver.h — the one routine behind both migration drivers.
//
// The legacy iOS driver and the health driver follow the same algorithm and
// differ only in data, which a VEQDriverSpec describes:
//
//   * acknowledgedTable: a table whose rows are only acknowledged — one
//     report (name, nullptr, YES) per row, no transaction, nothing written.
//   * emptyNameNeedsCallback: false when an empty table name reports through
//     the callback only if one was given; true when the callback is required
//     there (a missing one is a caller error and throws
//     std::invalid_argument).
//   * onOpenFailure: what happens when the new database cannot be opened
//     inside the transaction: report every row with the (still YES) result
//     flag, or set the flag to NO and report nothing.
//   * routes: table name → conversion routine, tested in order; the first
//     name that is equal (case-sensitive) wins. A name without a route is
//     ignored: the transaction opens and commits empty, nothing is reported.
//
// veqRunDriver, on the calling thread:
//   1. empty name → callback(name, nullptr, true) and stop; run state kept.
//   2. reset the run state (currentDateStr "", serialNumber 0).
//   3. acknowledged table → report each legacy row as above and stop.
//   4. otherwise, inside one transaction of dbQueue: read the legacy rows in
//      stored order; none → stop; database does not open → onOpenFailure;
//      no route → stop; else convert each row, keep its result in the result
//      flag and report (name, db, flag). A NO does not stop the loop.
//      When the legacy table cannot be read to its end (an I/O error or a
//      damaged page partway), the transaction is rolled back: the rows
//      already reported are not kept, and the legacy database holds the
//      error (lastErrorMessage) for the caller to report.
//
// Rows are read one at a time into one reused row
// (VEQOldDBManager::forEachRowWithDbQueue), never as a list: memory does not
// grow with the legacy table. The row a report points at is valid during
// its callback only.
//
// Row outcomes (row_outcome.h): before each row's conversion the report is
// reset to that row; acknowledged rows are reported "kept", and rows of a
// database that does not open "write failed". The callback reads the report
// of the row it is told about.
//
// The callback may be empty (except where step 1 requires it); then the
// driver does all its work and reports nothing. Each row's conversion runs in
// its own scope so its temporaries are gone before the report.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "collaborators/fmdb.h"
#include "migration/pro_db_manager.h"

namespace veq {

// One row of a dispatch table: a legacy table name and the routine that
// converts its rows, either a settings routine (row, db) or a health routine
// (row, oldQueue, db).
struct VEQDriverRoute {
  constexpr VEQDriverRoute(std::string_view name, VEQProDBManager::SettingsRoutine routine)
      : tableName(name), settings(routine) {}
  constexpr VEQDriverRoute(std::string_view name, VEQProDBManager::HealthRoutine routine)
      : tableName(name), health(routine) {}

  // Converts one row with whichever routine this route holds.
  bool convert(const VEQDict& row, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* db) const {
    return settings ? settings(row, db) : health(row, oldQueue, db);
  }

  std::string_view tableName;
  VEQProDBManager::SettingsRoutine settings = nullptr;
  VEQProDBManager::HealthRoutine health = nullptr;
};

enum class VEQOpenFailure {
  kReportEveryRow,  // report each row with the result flag (still YES)
  kReportNothing,   // set the result flag to NO, report nothing
};

struct VEQDriverSpec {
  std::string_view acknowledgedTable;
  bool emptyNameNeedsCallback;
  VEQOpenFailure onOpenFailure;
  std::span<const VEQDriverRoute> routes;
};

// The route for `tableName`, or nullptr.
const VEQDriverRoute* veqFindRoute(const VEQDriverSpec& driver, std::string_view tableName);

// The straightforward paths, for tests that compare the fast ones against
// them: with it on, the driver reads each legacy table whole
// (getOneTableAllDataWithDbQueue) and health look-ups run their text through
// VEQDBManager::querySyncExistDataWithSqlDb. Off by default; a switch of the
// current session (VEQMigrationSession::useStraightforwardPaths).
void veqUseStraightforwardPaths(bool on);
bool veqStraightforwardPaths();

// Runs one driver call as described above.
void veqRunDriver(const VEQDriverSpec& driver, const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                  VEQFMDatabaseQueue* oldQueue, const VEQProDBManager::CompletionCallback& callback);

}  // namespace veq
