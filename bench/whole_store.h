// whole_store.h — veq_bench --whole-store: the tool on the legacy stores of a
// realistic user against plain copies of every table.
//
// The fixtures of `days` days and `devices` devices (all three stores and
// the user defaults) are written once (kept with `reuse`). Each converted
// table of 1,000 rows or more, and each store's smaller tables together, is
// extracted once, with the store's device table, into a store of its own.
// Then, `repeats` times, one after the other, the tool runs as a child
// process:
//   * set-up only: each store reduced to its device table (checks, schema,
//     registries, report, and the device tables' few rows), per store and
//     all together;
//   * the whole run: every store whole; its CPU less the set-up's is the
//     migration phase, its peak resident memory the run's;
//   * one extract at a time: its CPU less its store's set-up in the same
//     repeat is the tables' own; right after it, their copy and floor.
// The copy is one INSERT … SELECT (copies.h) per new table the run has just
// added records to, of those records, into a fresh table of the same shape
// (same columns and indexes, no triggers): the same values, so the same keys
// reach the index in the same order, and nothing converted or looked up.
// The floor writes the same records one INSERT per row (copies.h).
// Printed, as min and median over the repeats of figures taken within one
// repeat (series.h): per extract the rows, rows/s of tool and copy, the
// tool's ratio to its copy and the floor's; then the set-up, the migration
// phase against the sum of the copies, the floor against the same sum, the
// peak memory, and the load average at the start and the end.
#pragma once

#include <cstdint>
#include <string>

namespace veq::bench {

struct WholeStoreOptions {
  std::string work;
  std::string tool;
  std::string timeZone;
  int days = 1095;
  int devices = 2;
  uint64_t seed = 1;
  bool reuse = false;
  int repeats = 5;
};

// 0 on success; 1 with a message on stderr when a step failed.
int runWholeStore(const WholeStoreOptions& options);

}  // namespace veq::bench
