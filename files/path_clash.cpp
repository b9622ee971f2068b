// path_clash.cpp — see path_clash.h.
#include "files/path_clash.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

namespace veq {

namespace fs = std::filesystem;

std::optional<PathClash> findPathClash(const std::vector<NamedPath>& paths) {
  for (size_t i = 0; i < paths.size(); ++i) {
    if (!paths[i].written || paths[i].path.empty()) continue;
    for (size_t j = 0; j < paths.size(); ++j) {
      const NamedPath& other = paths[j];
      if (i == j || other.path.empty() || (other.written && j < i)) continue;
      if (sameFile(paths[i].path, other.path)) return PathClash{paths[i], other};
    }
  }
  return std::nullopt;
}

bool sameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  if (fs::exists(a, ec) && fs::exists(b, ec)) return fs::equivalent(a, b, ec);
  const fs::path ca = fs::weakly_canonical(fs::absolute(a, ec), ec);
  const fs::path cb = fs::weakly_canonical(fs::absolute(b, ec), ec);
  return ca == cb;
}

Problem checkWrittenFiles(const std::vector<NamedPath>& files) {
  if (const std::optional<PathClash> clash = findPathClash(files)) {
    return fmt::format("{}: {} names the same file as {}", clash->written.path, clash->written.option,
                       clash->other.option);
  }
  std::error_code ec;
  for (const NamedPath& file : files) {
    if (!file.written || file.path.empty()) continue;
    const std::string& path = file.path;
    if (fs::is_directory(path, ec)) return path + ": is a directory";
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty() && !fs::is_directory(parent, ec)) return path + ": no such directory";
    const std::string directory = parent.empty() ? std::string(".") : parent.string();
    const std::string& probe = fs::exists(path, ec) && !file.replaced ? path : directory;
    if (::access(probe.c_str(), W_OK) != 0) return path + ": not writable";
  }
  return std::nullopt;
}

}  // namespace veq
