// verify_command.h — `veq-migrate verify`: does an existing output hold
// everything the legacy stores imply?
//
// The stores are converted into a scratch database (scratch_migration.h:
// the real migration, into a new temporary database, removed afterwards).
// Then every new table is compared with the output, record by record on the
// record's key — the columns its look-ups compare: device, day or time stamp,
// serial number for health records; device (and alarm id) for settings:
//   missing    a converted record whose key the output does not hold
//   differing  the output holds the key, with other values (the columns that
//              differ are named)
//   extra      an output record whose key the conversion does not give
// Records compare on every column but the primary key, value and type (the
// number 1 and the text '1' differ). Not compared either: the binding
// columns of "t_get_device_info" (uuid_str, device_name, bind_state), which
// the first run takes over from the user defaults and removes from them, so
// no later conversion can give them again. Each table lists its counts and a few
// examples of each kind.
//
// Exit status: kOk when nothing is missing or differing (extra records,
// such as those the SDK wrote itself since, do not fail it); kFailures
// otherwise; kRefused when a store, the output or a report path cannot be
// used. Nothing is written
// but the --json and --html reports asked for.
//
// The output is judged by what the next open of it would hold, as the SDK
// would read it: opened immutable when nothing lies beside it; with a
// non-empty -wal (commits not yet checkpointed) or -journal (a killed
// writer's hot journal), from a private copy of the files that SQLite
// recovers (database_inspection.h). The output and its log or journal are
// only read, never opened for writing.
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
