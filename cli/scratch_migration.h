// scratch_migration.h — the stores converted into a throw-away database.
//
// `inspect` and `verify` need to know what a migration of the stores gives
// without writing anywhere. They run the real migration (runMigration, the
// same code as `run`) into a database in a new temporary directory:
//   * the output starts as a copy of `startFrom` when one is given (so that
//     updates of an existing output are predicted), else empty; its -wal or
//     -journal file is copied with it (copyDatabaseFiles), so the migration
//     starts from what the next open of `startFrom` would hold: the commits
//     in its log, not the uncommitted pages a killed writer left;
//   * the defaults are copied there too, so writing them back changes
//     nothing of the user's;
//   * every copy is writable by the user whatever the originals' mode, so
//     read-only stores, defaults and output in a read-only folder suffice;
//   * no progress, no report, no rejects; refusals still go to `err`.
// The directory and everything in it are removed with the object.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "cli/report.h"
#include "cli/run_command.h"

namespace veq {

class ScratchMigration {
 public:
  // Runs the migration; `status` is runMigration's.
  ScratchMigration(const RunOptions& stores, const std::string& startFrom, std::ostream& err);
  ~ScratchMigration();
  ScratchMigration(const ScratchMigration&) = delete;
  ScratchMigration& operator=(const ScratchMigration&) = delete;

  ExitStatus status() const { return status_; }
  const MigrationReport& report() const { return report_; }
  // The converted database (exists unless status() is kRefused).
  const std::string& databasePath() const { return database_; }

 private:
  std::string dir_;
  std::string database_;
  MigrationReport report_;
  ExitStatus status_ = ExitStatus::kRefused;
};

}  // namespace veq
