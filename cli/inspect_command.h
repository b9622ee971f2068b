// inspect_command.h — `veq-migrate inspect`: what is in the legacy stores and
// what a migration would do with them, without writing anything.
//
// For each store given: every table with its row count and whether the tool
// converts it ("converted", "registry" for the device tables that fill the
// registries, "not converted"); the devices the registries would hold; then,
// per new health table and device, the first and last day and the number of
// days the migration gives; and what the migration would do per legacy table
// (rows inserted, updated, kept, skipped by reason, failed).
//
// The figures come from the real migration (scratch_migration.h) into a
// temporary database — a copy of `existingOut` when given, so updates of an
// existing output are predicted — which is removed afterwards. The copy
// holds what the next open of `existingOut` would: the commits in its -wal
// file, not the uncommitted pages beside a hot -journal (both files are
// copied and recovered in the scratch directory, never touched). The stores
// are opened as `run` opens them and never changed; the only files written
// are the --json and --html reports asked for, which must not be any file
// the command reads.
//
// Exit status: kOk, or kRefused when a store, the defaults, the existing output or a
// report path cannot be used (one line "veq-migrate: <file>: <problem>").
#pragma once

#include <ostream>
#include <string>

#include "cli/run_command.h"

namespace veq {

struct InspectOptions {
  RunOptions stores;        // the store paths, defaults and time zone
  std::string existingOut;  // "": predict for a new output
  std::string jsonPath;
  std::string htmlPath;
};

ExitStatus inspectStores(const InspectOptions& options, std::ostream& out, std::ostream& err);

}  // namespace veq
