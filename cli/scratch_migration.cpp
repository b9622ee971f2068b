// scratch_migration.cpp — a migration into a scratch directory.
#include "cli/scratch_migration.h"

#include <sstream>

namespace veq {

ScratchMigration::ScratchMigration(const RunOptions& stores, const std::string& startFrom, std::ostream& err) {
  if (const Problem problem = scratch_.create(startFrom, stores.defaultsPath)) {
    err << "veq-migrate: " << *problem << "\n";
    return;
  }
  RunOptions options = stores;
  options.outPath = scratch_.databasePath();
  if (!stores.defaultsPath.empty() && !scratch_.defaultsPath().empty()) options.defaultsPath = scratch_.defaultsPath();
  options.jsonPath.clear();
  options.rejectsPath.clear();
  options.progress = false;
  options.quiet = true;
  std::ostringstream quiet;
  status_ = runMigration(options, quiet, err, &report_);
}

}  // namespace veq
