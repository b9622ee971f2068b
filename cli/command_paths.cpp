// command_paths.cpp — see command_paths.h.
#include "cli/command_paths.h"

#include <fmt/format.h>

#include <map>

namespace veq {


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
