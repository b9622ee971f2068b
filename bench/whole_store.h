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
// Each converted table is also copied with one INSERT … SELECT (copies.h)
// into a table shaped like the new table that received most of its records,
// the legacy columns taken in turn for the new ones, nothing converted.
// Printed: per table rows, rows/s and the ratio to its copy; then the
// set-up, the migration phase against the sum of the copies, and the peak
// memory.
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
