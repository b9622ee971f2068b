// command_paths.h — the files a command is given, and the rule that every
// file it writes is a file of its own.
//
// A command lists each path with the option that named it and whether it
// writes the file (the defaults are read and written back by `run`, so they
// count as written there). findPathClash pairs every written entry with every
// other entry, in list order, and gives the first pair that names one file:
// under any spelling of the path ("..", ".", relative or absolute) or through
// a symlink. A pair of written entries is compared once, from the earlier
// one. Empty paths (options not given) are ignored.
//
// `run` refuses "<file>: --json names the same file as --ios".
// `inspect` and `verify` write only their --json and --html reports:
// reportOverInput refuses a report that is a file the command reads with
// "veq-migrate: <report>: is also a file <command> reads", and two reports
// naming one file (the page would overwrite the JSON) with
// "veq-migrate: <file>: --html names the same file as --json".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/problem.h"
#include "cli/run_command.h"
#include "migration/migration_plan.h"

namespace veq {

struct NamedPath {
  std::string path;
  std::string option;  // "--ios", "--out" …
  bool written;
};

struct PathClash {
  NamedPath written;
  NamedPath other;  // read, or written and listed after `written`
};

std::optional<PathClash> findPathClash(const std::vector<NamedPath>& paths);

// Whether two paths name one file: the same inode when both exist, else the
// same absolute path once every symlink and "..", "." of it is resolved.
bool sameFile(const std::string& a, const std::string& b);

// The path `options` gives for a kind of store ("" when not given), and the
// option that names it ("--ios", "--android", "--android-cloud").
const std::string& storePath(const RunOptions& options, const LegacyStoreKind& kind);
const std::string& storeOption(const LegacyStoreKind& kind);

// For `inspect` and `verify`, which read the stores, the defaults and
// `output`: the whole refusal line above for the first of `json`, `html`
// that is one of those files; none when none is.
Problem reportOverInput(const std::string& command, const RunOptions& stores, const std::string& output,
                            const std::string& json, const std::string& html);

}  // namespace veq
