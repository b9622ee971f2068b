// command_paths.h — the files a command is given, by option.
//
// Each path is listed with the option that named it (files/path_clash.h:
// every file a command writes is a file of its own).
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

#include "cli/run_command.h"
#include "files/path_clash.h"
#include "files/problem.h"
#include "migration/migration_plan.h"

namespace veq {

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
