// command_paths.cpp — see command_paths.h.
#include "cli/command_paths.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>

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

namespace {

struct StoreOption {
  std::string RunOptions::*path;
  std::string option;
};

const StoreOption& storeOptionOf(const LegacyStoreKind& kind) {
  static const std::map<LegacyStore, StoreOption> options = {
      {LegacyStore::kIos, {&RunOptions::iosPath, "--ios"}},
      {LegacyStore::kAndroid, {&RunOptions::androidPath, "--android"}},
      {LegacyStore::kAndroidCloud, {&RunOptions::androidCloudPath, "--android-cloud"}}};
  return options.at(kind.store);
}

}  // namespace

const std::string& storePath(const RunOptions& options, const LegacyStoreKind& kind) {
  return options.*storeOptionOf(kind).path;
}

const std::string& storeOption(const LegacyStoreKind& kind) { return storeOptionOf(kind).option; }

Problem reportOverInput(const std::string& command, const RunOptions& stores, const std::string& output,
                            const std::string& json, const std::string& html) {
  std::vector<NamedPath> paths;
  for (const LegacyStoreKind& kind : legacyStoreKinds()) paths.push_back({storePath(stores, kind), storeOption(kind), false});
  paths.push_back({stores.defaultsPath, "--defaults", false});
  paths.push_back({output, "--out", false});
  paths.push_back({json, "--json", true});
  paths.push_back({html, "--html", true});
  const std::optional<PathClash> clash = findPathClash(paths);
  if (!clash) return std::nullopt;
  if (clash->other.written) {
    return fmt::format("veq-migrate: {}: {} names the same file as {}\n", clash->written.path, clash->written.option,
                       clash->other.option);
  }
  return fmt::format("veq-migrate: {}: is also a file {} reads\n", clash->written.path, command);
}

}  // namespace veq
