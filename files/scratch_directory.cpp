// scratch_directory.cpp — a temporary directory with copies of the inputs.
#include "files/scratch_directory.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "files/database_inspection.h"

namespace veq {

namespace fs = std::filesystem;

Problem ScratchDirectory::create(const std::string& startFrom, const std::string& defaults) {
  std::string dir = (fs::temp_directory_path() / "veq-migrate-scratch-XXXXXX").string();
  if (::mkdtemp(dir.data()) == nullptr) {
    return fmt::format("{}: cannot make a scratch directory: {}", dir, std::strerror(errno));
  }
  dir_ = dir;
  database_ = (fs::path(dir_) / "new.sqlite").string();
  std::error_code ec;
  if (!startFrom.empty()) copyDatabaseFiles(startFrom, database_, ec);
  if (!ec && !defaults.empty() && fs::exists(defaults, ec)) {
    defaults_ = (fs::path(dir_) / "defaults.json").string();
    copyWritable(defaults, defaults_, ec);
  }
  if (ec) return fmt::format("{}: cannot copy into the scratch directory: {}", dir_, ec.message());
  return std::nullopt;
}

ScratchDirectory::~ScratchDirectory() {
  if (dir_.empty()) return;
  std::error_code ignored;
  fs::remove_all(dir_, ignored);
}

}  // namespace veq
