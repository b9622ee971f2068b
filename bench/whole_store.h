// whole_store.h — veq_bench --whole-store: the tool on the legacy stores of a
// realistic user against plain copies of every table.
//
// The fixtures of `days` days and `devices` devices (all three stores and
// the user defaults) are migrated by the tool as a child process, three ways:
//   * set-up only: each store reduced to its device table (checks, schema,
//     registries, report, and the device tables' few rows);
//   * the whole run: every store whole; its CPU less the set-up's is the
//     migration phase, its peak resident memory the run's;
//   * one table at a time: the table's store reduced to its device table and
//     that table, less that store's set-up, gives the table's own CPU time.
// Each converted table's copy is one INSERT … SELECT (copies.h) of the
// records the tool wrote into the new table that received most of them,
// into a fresh table of the same shape (same columns and indexes, no
// triggers): the same values, so the same keys reach the index in the same
// order, and nothing converted or looked up.
// The same records are also written one INSERT per row (the row-by-row
// floor, copies.h). Printed: per table rows, rows/s, the ratio to its copy
// and the floor's; then the set-up, the migration phase against the sum of
// the copies, the floor against the same sum, and the peak memory.
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
};

// 0 on success; 1 with a message on stderr when a step failed.
int runWholeStore(const WholeStoreOptions& options);

}  // namespace veq::bench
