// migration_files.h — the legacy stores, user defaults and output of one
// migration, checked and opened by path.
//
// Both front ends (the tool's `run`, the C interface) set a migration up the
// same way, and refuse a bad file with the same "<file>: <problem>" line:
//   * openLegacyStores opens each store given read-only, after the checks of
//     database_inspection.h (a store is never changed), with kLegacyPragmas.
//     The first store that fails is the problem.
//   * loadUserDefaults replaces the defaults store with the file's object:
//     "no such file", "not a regular file", or the loader's message
//     (collaborators/user_defaults.h). "" loads an empty store.
//   * Before opening the output, the caller checks that every file it will
//     write is a file of its own (path_clash.h: checkWrittenFiles).
//   * openOutput opens the output, creating it when absent or empty (an
//     existing non-empty file must pass the checks of database_inspection.h),
//     takes and releases its write lock to learn that no other process holds
//     it (waiting up to `lockWait`: "locked by another process; gave up after
//     waiting 10.0 s for its write lock"), sets kOutputPragmas and installs the
//     schema. On failure a file this call created is removed again and
//     nothing stays open.
// The queues handed out own their connections; the migration session they
// are attached to does not (migration/migration_session.h).
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/user_defaults.h"
#include "files/problem.h"
#include "migration/migration_plan.h"

namespace veq {

// Connection settings of the output database, for bulk loading: one
// transaction per legacy table, so a rollback journal (which copies only
// pages that existed before) writes less than a write-ahead log (which writes
// every page twice); NORMAL syncs once per commit; a 4 MiB page cache, sized
// for a phone: records arrive in key order, so inserts and look-ups touch the
// right edge of the table and its indexes, which a few hundred pages hold. On
// a million intervals 4, 8 and 32 MiB cost the same CPU, and the run's peak
// memory follows the caches: 13 MiB with these settings, 19 MiB with 8 MiB
// (and 1 MiB for the legacy store), 54 MiB with 32 MiB (and SQLite's 2 MiB).
// The benchmark's yardstick uses the same.
inline constexpr const char* kOutputPragmas =
    "PRAGMA journal_mode=DELETE; PRAGMA synchronous=NORMAL; PRAGMA cache_size=-4096; PRAGMA temp_store=MEMORY;";

// Connection settings of each legacy store: a 512 KiB page cache. A legacy
// table is read once, front to back, so its pages are not read again; what
// is worth caching is the upper levels of the indexes behind the grouped
// counts and the per-track look-ups, a few dozen pages. At SQLite's default
// of 2 MiB the three stores of a whole run would hold 6 MiB.
inline constexpr const char* kLegacyPragmas = "PRAGMA cache_size=-512;";

// How long a migration waits for another process's write lock on the output
// unless told otherwise.
inline constexpr std::chrono::milliseconds kDefaultLockWait{10000};

struct OpenStore {
  const LegacyStoreKind* kind;
  std::string path;
  std::shared_ptr<VEQFMDatabaseQueue> queue;
};

// Store paths indexed by LegacyStore; "" for a store not given.
using StorePaths = std::array<std::string, 3>;

// Opens the stores given, in plan order, appending them to *stores.
Problem openLegacyStores(const StorePaths& paths, std::vector<OpenStore>* stores);

Problem loadUserDefaults(const std::string& path, VEQUserDefaults& defaults);

// *locked is set when the problem is another process's write lock.
Problem openOutput(const std::string& path, std::chrono::milliseconds lockWait,
                   std::shared_ptr<VEQFMDatabaseQueue>* output, bool* locked = nullptr);

}  // namespace veq
