// run_command.h — `veq-migrate run`: migrate legacy stores into a new database.
//
// runMigration works in three phases:
//   1. Check, writing nothing: the time zone resolves (runTimeZone); every legacy store
//      given opens read-only (kLegacyPragmas) and passes the checks of database_inspection.h;
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
  std::chrono::milliseconds lockWait{10000};
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

// Connection settings of the output database, for bulk loading: one
// transaction per legacy table, so a rollback journal (which copies only
// pages that existed before) writes less than a write-ahead log (which writes
// every page twice); NORMAL syncs once per commit; a 2 MiB page cache, sized
// for a phone: records arrive in key order, so inserts and look-ups touch the
// right edge of the table and its indexes, which a few hundred pages hold. On
// a million intervals 2, 4, 8 and 32 MiB cost the same CPU (first run and
// rerun), and the run's peak memory follows the caches: 11 MiB with these
// settings, 13 MiB with 4 MiB, 19 MiB with 8 MiB (and 1 MiB for the legacy
// store), 54 MiB with 32 MiB (and SQLite's 2 MiB); a whole user's three
// stores peak at 15 MiB. The benchmark's yardstick uses the same.
inline constexpr const char* kOutputPragmas =
    "PRAGMA journal_mode=DELETE; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-2048; PRAGMA temp_store=MEMORY;";

// Connection settings of each legacy store: a 256 KiB page cache. A legacy
// table is read once, front to back, so its pages are not read again; what
// is worth caching is the upper levels of the indexes behind the grouped
// counts and the per-track look-ups, a few dozen pages. At SQLite's default
// of 2 MiB the three stores of a whole run would hold 6 MiB.
inline constexpr const char* kLegacyPragmas = "PRAGMA cache_size=-256;";

}  // namespace veq
