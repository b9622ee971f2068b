// verification.h — does an existing output hold everything the legacy
// stores imply?
//
// The stores are converted into a scratch database (the real migration,
// into a new temporary database, removed afterwards). Then every new table
// is compared with the output, record by record on the record's key — the
// columns its look-ups compare: device, day or time stamp, serial number for
// health records; device (and alarm id) for settings:
//   missing    a converted record whose key the output does not hold
//   differing  the output holds the key, with other values (the columns that
//              differ are named in the examples)
//   extra      an output record whose key the conversion does not give
// Records compare on every column but the primary key, value and type (the
// number 1 and the text '1' differ). Not compared either: the binding
// columns of "t_get_device_info" (uuid_str, device_name, bind_state), which
// the first run takes over from the user defaults and removes from them, so
// no later conversion can give them again. A new table the output lacks
// altogether counts every converted record as missing. Each table keeps its
// counts and up to `examples` examples of each kind.
//
// The output holds everything when nothing is missing or differing; extra
// records (such as those the SDK wrote itself since) do not count against it.
//
// The output is judged by what the next open of it would hold, as the SDK
// would read it: opened immutable when nothing lies beside it; with a
// non-empty -wal or -journal, from a private copy of the files that SQLite
// recovers (database_inspection.h). It is only read, never written.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/time_zone.h"
#include "files/problem.h"
#include "migration/migration_plan.h"

namespace veq {

// The comparison of one new table with the output.
struct TableFindings {
  std::string table;
  int64_t expected = 0, output = 0, missing = 0, differing = 0, extra = 0;
  nlohmann::ordered_json examples = nlohmann::ordered_json::object();  // kind → list of records
};

bool holdsEverything(const std::vector<TableFindings>& tables);

// The output opened read-only as above; "<output>: <problem>" on failure.
Problem openOutputToVerify(const std::string& outputPath, std::shared_ptr<VEQFMDatabase>* output);
// Attaches `output` to `converted` (the scratch database; opened read-write
// here when not open yet) as schema "o". "<outputPath>: cannot be read: …"
// on failure.
Problem attachOutput(VEQFMDatabase& converted, const std::string& outputPath, VEQFMDatabase& output);

// Every new table of `converted` compared with the output attached as "o",
// in the order of the new schema. Run in the session whose zone the stores
// were converted in.
std::vector<TableFindings> compareWithOutput(VEQFMDatabase& converted, int examples);

// The whole check for a migration whose stores are open: converts them in a
// session of its own (zone `zone`, user defaults a copy of `defaultsPath`,
// "" for none) into a scratch database and compares it with `outputPath`.
struct StoreToVerify {
  LegacyStore kind;
  VEQFMDatabaseQueue* queue;
};
Problem verifyMigration(const std::vector<StoreToVerify>& stores, const std::string& defaultsPath,
                        std::shared_ptr<const VEQTimeZone> zone, const std::string& outputPath, int examples,
                        std::vector<TableFindings>* tables);

}  // namespace veq
