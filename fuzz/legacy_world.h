// legacy_world.h — one process-wide set of legacy stores and a new database
// for the fuzz targets.
//
// LegacyWorld::get() builds, once per process: the three legacy stores in
// memory with every table of the generated stores (fixture_tables.h), empty;
// the device registries of two devices (fuzzDeviceKeys()); the new database
// in memory with its schema; a fixed "now" (2023-11-14 22:13:20 UTC) and the
// zone UTC, so runs repeat.
//
// routes() lists every (store, legacy table, driver) a run of the tool can
// take, plus the legacy iOS driver's own route for "t_active_data" which the
// tool leaves to the health driver. run() puts the given rows into the
// route's legacy table (and nothing else), runs the route's driver over it
// against the new database, and then brings both back to their first state,
// so each input starts from the same world. It aborts (a fuzzer finding) when
// the driver leaves the new database inside a transaction.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fixtures/fixture_tables.h"
#include "migration/migration_plan.h"
#include "collaborators/fmdb.h"

namespace veq::fuzz {

struct LegacyRoute {
  size_t store;  // index into legacyStoreKinds()
  const FixtureTable* table;
  MigrationDriver driver;
};

struct LegacyCell {
  VEQValue value;
  bool blob = false;
};
using LegacyRow = std::vector<LegacyCell>;  // in the table's column order

class LegacyWorld {
 public:
  static LegacyWorld& get();

  const std::vector<LegacyRoute>& routes() const { return routes_; }
  // Runs `rows` through `route`; returns the number of rows reported.
  int run(const LegacyRoute& route, const std::vector<LegacyRow>& rows);
  VEQFMDatabase* newDatabase() const { return output_->database().get(); }
  // Brings the new database back to its freshly installed state.
  void resetNewDatabase();

 private:
  LegacyWorld();
  std::vector<std::shared_ptr<VEQFMDatabaseQueue>> stores_;  // legacyStoreKinds() order
  std::shared_ptr<VEQFMDatabaseQueue> output_;
  std::unique_ptr<VEQFMDatabase> pristine_;
  std::vector<LegacyRoute> routes_;
};

}  // namespace veq::fuzz
