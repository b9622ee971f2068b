// scratch_migration.cpp — a migration into a temporary directory.
#include "cli/scratch_migration.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "cli/database_inspection.h"

namespace veq {

namespace fs = std::filesystem;

ScratchMigration::ScratchMigration(const RunOptions& stores, const std::string& startFrom, std::ostream& err) {
  std::string dir = (fs::temp_directory_path() / "veq-migrate-scratch-XXXXXX").string();
  if (::mkdtemp(dir.data()) == nullptr) {
    err << fmt::format("veq-migrate: {}: cannot make a scratch directory: {}\n", dir, std::strerror(errno));
    return;
  }
  dir_ = dir;
  database_ = (fs::path(dir_) / "new.sqlite").string();
  RunOptions options = stores;
  options.outPath = database_;
  options.jsonPath.clear();
  options.rejectsPath.clear();
  options.progress = false;
  options.quiet = true;
  std::error_code ec;
  if (!startFrom.empty()) copyDatabaseFiles(startFrom, database_, ec);
  if (!ec && !stores.defaultsPath.empty() && fs::exists(stores.defaultsPath, ec)) {
    options.defaultsPath = (fs::path(dir_) / "defaults.json").string();
    copyWritable(stores.defaultsPath, options.defaultsPath, ec);
  }
  if (ec) {
    err << fmt::format("veq-migrate: {}: cannot copy into the scratch directory: {}\n", dir_, ec.message());
    return;
  }
  std::ostringstream quiet;
  status_ = runMigration(options, quiet, err, &report_);
}

ScratchMigration::~ScratchMigration() {
  if (dir_.empty()) return;
  std::error_code ignored;
  fs::remove_all(dir_, ignored);
}

}  // namespace veq
