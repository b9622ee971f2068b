// run_command.h — `veq-migrate run`: migrate legacy stores into a new database.
//
// runMigration works in three phases:
//   1. Check, writing nothing (files/migration_files.h): the time zone resolves
//      (runTimeZone); every legacy store given opens read-only (kLegacyPragmas)
//      and passes the checks of files/database_inspection.h;
//      the defaults file exists and holds a JSON object; the output is not one
//      of the inputs, its directory exists, and it is absent, empty or a sound
//      SQLite database; the JSON report's and the rejects file's places are
//      writable. The first problem is written to `err` as
//      "veq-migrate: <file>: <problem>" and the result is kRefused.
//   2. Set up: open or create the output (rollback journal, synchronous
//      NORMAL, a 4 MiB page cache), install the schema, attach the stores to
//      the run's session (which fills its device registries and hands it the
//      Android handles), load the user defaults into it. An output that
//      cannot be written is reported as in phase 1 (kRefused), and a file
//      this call created is removed again.
//   3. Migrate all stores through the run's session (the plan calls of
//      migration_session.h: every table of the plan that a store holds, each
//      in its driver's one transaction, summarised per table; the run stops
//      at a fatal error and that table is rolled back). Skipped and failed
//      rows go to the rejects file. Then save the user defaults (not after a
//      stop), print the report to `out` (and as JSON to jsonPath) and return
//      kOk when no report failed, no row failed and no statement failed, else
//      kFailures. Skips are not failures.
//   4. With htmlPath: convert the stores once more into a scratch database
//      (scratch_migration.h) and write the HTML report, whose calendars set
//      the days the stores give beside the days the output holds.
//
// A run interrupted in phase 3 loses only the table in progress: its
// transaction is not committed, so SQLite discards it (on close, or on the
// next open of the file after a kill). Each call works in a session of its
// own (registries, legacy handles, time zone, defaults …), made current on
// the calling thread while it runs and gone when the call returns.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "cli/exit_status.h"
#include "cli/report.h"
#include "collaborators/time_zone.h"
#include "files/migration_files.h"

namespace veq {

struct RunOptions {
  std::string iosPath;           // "" when the store is not given
  std::string androidPath;
  std::string androidCloudPath;
  std::string defaultsPath;      // "": no user defaults (empty store)
  std::string outPath;
  std::optional<std::string> timeZone;  // IANA name; none: the platform's local time
  std::string jsonPath;          // "": no JSON report
  std::string rejectsPath;       // "": no rejects file (rejects.h)
  std::string htmlPath;          // "": no HTML report (html_report.h)
  bool progress = false;         // draw a progress line on `err`
  bool quiet = false;            // no report on `out` (errors still go to `err`)
  // How long to wait for another process's write lock on the output.
  std::chrono::milliseconds lockWait = kDefaultLockWait;
};

// kOk, kFailures, or kRefused (nothing written); see exit_status.h.
// When `report` is given it receives the run's report (also with quiet).
ExitStatus runMigration(const RunOptions& options, std::ostream& out, std::ostream& err,
                 MigrationReport* report = nullptr);

// The zone a run works in: the one --time-zone names (tz database), else the
// platform's local time (the C library). Throws VEQTimeZoneError, whose text
// names the zone, when it cannot be resolved; a run then refuses (kRefused)
// with that text.
std::shared_ptr<const VEQTimeZone> runTimeZone(const RunOptions& options);

}  // namespace veq
