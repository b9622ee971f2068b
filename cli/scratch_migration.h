// scratch_migration.h — the stores converted into a throw-away database.
//
// `inspect` and `verify` need to know what a migration of the stores gives
// without writing anywhere. They run the real migration (runMigration, the
// same code as `run`) into a scratch directory (files/scratch_directory.h:
// the output a copy of `startFrom` when one is given, else empty; the
// defaults a copy of the user's), with no progress, no report, no rejects;
// refusals still go to `err`. The directory goes with the object.
#pragma once

#include <ostream>
#include <string>

#include "cli/report.h"
#include "cli/run_command.h"
#include "files/scratch_directory.h"

namespace veq {

class ScratchMigration {
 public:
  // Runs the migration; `status` is runMigration's.
  ScratchMigration(const RunOptions& stores, const std::string& startFrom, std::ostream& err);

  ExitStatus status() const { return status_; }
  const MigrationReport& report() const { return report_; }
  // The converted database (exists unless status() is kRefused).
  const std::string& databasePath() const { return scratch_.databasePath(); }

 private:
  ScratchDirectory scratch_;
  MigrationReport report_;
  ExitStatus status_ = ExitStatus::kRefused;
};

}  // namespace veq
