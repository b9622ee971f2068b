// legacy_world.cpp — the fuzz targets' legacy stores and new database.
#include "fuzz/legacy_world.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "collaborators/old_db_manager.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/sql_identifier.h"
#include "fuzz/fuzz_input.h"
#include "migration/pro_db_manager.h"

namespace veq::fuzz {
namespace {

constexpr int64_t kFixedNow = 1700000000;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "fuzz setup: %s\n", what.c_str());
  std::abort();
}

std::shared_ptr<VEQFMDatabaseQueue> memoryQueue() {
  auto db = std::make_shared<VEQFMDatabase>(":memory:");
  if (!db->open()) fail("cannot open an in-memory database");
  return std::make_shared<VEQFMDatabaseQueue>(db);
}

bool inStore(const FixtureTable& table, size_t store) {
  const auto kind = static_cast<FixtureStore>(store);
  return std::find(table.stores.begin(), table.stores.end(), kind) != table.stores.end();
}

void copyDatabase(sqlite3* from, sqlite3* to) {
  sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
  if (backup == nullptr || sqlite3_backup_step(backup, -1) != SQLITE_DONE) fail(sqlite3_errmsg(to));
  sqlite3_backup_finish(backup);
}

}  // namespace

LegacyWorld& LegacyWorld::get() {
  static LegacyWorld world;
  return world;
}

LegacyWorld::LegacyWorld() {
  if (!VEQSDKUtility::setTimeZone("UTC")) fail("no zone UTC");
  VEQSDKUtility::setFixedNow(kFixedNow);

  const std::vector<LegacyStoreKind>& kinds = legacyStoreKinds();
  for (size_t s = 0; s < kinds.size(); ++s) {
    stores_.push_back(memoryQueue());
    VEQFMDatabase* db = stores_.back()->database().get();
    for (const FixtureTable& table : fixtureTables()) {
      if (!inStore(table, s)) continue;
      std::string columns;
      for (const FixtureColumn& c : table.columns) {
        columns += (columns.empty() ? "" : ", ") + sqlIdentifier(c.name) + " " + c.type;
      }
      if (!db->executeUpdate("CREATE TABLE " + sqlIdentifier(table.name) + " (" + columns + ")")) {
        fail(db->lastErrorMessage());
      }
    }
    for (const MigrationStep& step : migrationSteps(kinds[s])) {
      if (step.table == kinds[s].registryTable) continue;
      const auto table = std::find_if(fixtureTables().begin(), fixtureTables().end(), [&](const FixtureTable& t) {
        return t.name == step.table && inStore(t, s);
      });
      if (table == fixtureTables().end()) continue;  // a second legacy name the generated stores do not use
      routes_.push_back({s, &*table, step.driver});
      // The legacy iOS driver converts its activity table too.
      if (kinds[s].ios && step.table == "t_active_data") {
        routes_.push_back({s, &*table, &VEQProDBManager::jkdbDataMigrationWithTableName});
      }
    }
    if (kinds[s].setQueue != nullptr) (VEQOldDBManager::shareInstance().*kinds[s].setQueue)(stores_.back().get());
  }

  const std::vector<std::string>& keys = fuzzDeviceKeys();
  VEQProDBManager& manager = VEQProDBManager::shareInstance();
  std::vector<VEQDict> ios, android;
  for (int d = 0; d < 2; ++d) {
    VEQDict i, a;
    i.set("user_id", keys[2 + d]);
    i.set("smart_device_id", keys[d]);
    i.set("band_status", int64_t{1});
    a.set("D_ID", int64_t{d + 1});
    a.set("MAC_ADDRESS", keys[d]);
    ios.push_back(std::move(i));
    android.push_back(std::move(a));
  }
  manager.setIosUserDevices(ios);
  manager.setAndroidUserDevices(android);
  manager.setAndroidCloudUserDevices(android);

  output_ = memoryQueue();
  std::string error;
  if (!veqInstallSchema(output_->database().get(), &error)) fail(error);
  pristine_ = std::make_unique<VEQFMDatabase>(":memory:");
  if (!pristine_->open()) fail("cannot open an in-memory database");
  copyDatabase(output_->database()->sqliteHandle(), pristine_->sqliteHandle());
}

void LegacyWorld::resetNewDatabase() {
  VEQFMDatabase* db = output_->database().get();
  copyDatabase(pristine_->sqliteHandle(), db->sqliteHandle());
  // A statement outside a transaction: the connection forgets what it
  // learnt of the database's content.
  if (!db->executeUpdate("SELECT 1")) fail(db->lastErrorMessage());
}

int LegacyWorld::run(const LegacyRoute& route, const std::vector<LegacyRow>& rows) {
  VEQFMDatabase* legacy = stores_[route.store]->database().get();
  const std::string table = sqlIdentifier(route.table->name);
  std::string names, slots;
  for (const FixtureColumn& c : route.table->columns) names += (names.empty() ? "" : ", ") + sqlIdentifier(c.name);
  for (const LegacyRow& row : rows) {
    slots.clear();
    VEQArray args;
    for (const LegacyCell& cell : row) {
      slots += std::string(slots.empty() ? "" : ", ") + (cell.blob ? "CAST(? AS BLOB)" : "?");
      args.push_back(cell.value);
    }
    if (!legacy->executeUpdate("INSERT INTO " + table + " (" + names + ") VALUES (" + slots + ")", args)) {
      fail(legacy->lastErrorMessage());
    }
  }
  VEQOldDBManager::clearCountCache();

  int reported = 0;
  route.driver(route.table->name, output_.get(), stores_[route.store].get(),
               [&reported](const std::string&, VEQFMDatabase*, bool) {
                 (void)VEQProDBManager::lastRowReport();
                 ++reported;
               });
  if (sqlite3_get_autocommit(output_->database()->sqliteHandle()) == 0) {
    fail("the driver left the new database inside a transaction");
  }

  if (!legacy->executeUpdate("DELETE FROM " + table)) fail(legacy->lastErrorMessage());
  resetNewDatabase();
  return reported;
}

}  // namespace veq::fuzz
