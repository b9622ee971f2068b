// verify_command.h — `veq-migrate verify`: does an existing output hold
// everything the legacy stores imply?
//
// The stores are converted into a scratch database (scratch_migration.h:
// the real migration, as `run` does it, into a new temporary database,
// removed afterwards), which is compared with the output table by table
// (files/verification.h: missing, differing and extra records, the columns
// compared, how the output is read). Each table lists its counts and a few
// examples of each kind.
//
// Exit status: kOk when nothing is missing or differing (extra records,
// such as those the SDK wrote itself since, do not fail it); kFailures
// otherwise; kRefused when a store, the output or a report path cannot be
// used. Nothing is written
// but the --json and --html reports asked for.
//
// A new table the output lacks altogether counts every converted record as
// missing and lists examples of them, as for single missing records. The
// --html page carries the same per-table findings as the text and JSON.
#pragma once

#include <ostream>
#include <string>

#include "cli/run_command.h"

namespace veq {

struct VerifyOptions {
  RunOptions stores;    // the store paths, defaults and time zone
  std::string outPath;  // the existing output to check
  std::string jsonPath;
  std::string htmlPath;
  int examples = 3;     // examples per kind and table
};

ExitStatus verifyOutput(const VerifyOptions& options, std::ostream& out, std::ostream& err);

}  // namespace veq
