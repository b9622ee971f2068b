// migration_plan.h — which legacy tables go through which driver, in order.
//
// A LegacyStoreKind describes one kind of legacy store as data: its label in
// reports, the table whose rows fill its device registry (and which its
// driver only acknowledges), the registry columns kept, where the registry
// and the store's handle go, and which driver tables belong to it. The
// session's plan calls (migration_session.h) run these steps; the tool, the
// benchmarks and the tests read them to describe a store.
//
// Order of a store's steps:
//   legacy iOS store   "t_user_device" (acknowledged), then the legacy iOS
//                      driver's tables in dispatch order, then the health
//                      driver's iOS tables (names starting with "t_") in
//                      dispatch order. A table both drivers know
//                      ("t_active_data") goes through the health driver only,
//                      whose routine is the more tolerant one, so it is
//                      converted once.
//   Android stores     "BASIC_INFOS" (acknowledged), then the health
//                      driver's Android tables (the other names) in
//                      dispatch order.
// Stores run in the order of legacyStoreKinds(): iOS, Android, Android cloud.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "migration/pro_db_manager.h"

namespace veq {

// The three kinds of legacy store, in the order a whole migration runs them.
enum class LegacyStore { kIos, kAndroid, kAndroidCloud };

using MigrationDriver = void (*)(const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                                 VEQFMDatabaseQueue* oldQueue, const VEQProDBManager::CompletionCallback& complete);

struct MigrationStep {
  std::string table;
  MigrationDriver driver;
};

struct RegistryColumn {
  std::string name;
  bool asText;  // kept as its "%@" text rather than as stored
};

struct LegacyStoreKind {
  LegacyStore store;
  std::string label;  // "ios", "android", "android_cloud"
  std::string registryTable;
  std::vector<RegistryColumn> registryColumns;
  void (VEQProDBManager::*setRegistry)(std::vector<VEQDict>);
  void (VEQOldDBManager::*setQueue)(VEQFMDatabaseQueue*);  // nullptr: not an Android store
  bool ios;  // takes the driver tables whose names start with "t_"
};

// Every kind, in plan order (indexable by LegacyStore).
const std::vector<LegacyStoreKind>& legacyStoreKinds();
const LegacyStoreKind& legacyStoreKind(LegacyStore store);

// The steps of one kind of store, in the order above.
std::vector<MigrationStep> migrationSteps(const LegacyStoreKind& kind);
// Those of them whose table is among `tables` (a store's tableNames): what a
// run of that store migrates.
std::vector<MigrationStep> presentSteps(const LegacyStoreKind& kind, const std::set<std::string>& tables);

// The registry records of a store: its registry table's rows, each reduced
// to the registry columns.
std::vector<VEQDict> registryRecords(const LegacyStoreKind& kind, VEQFMDatabaseQueue* store);

// Names of the ordinary tables of an open database (internal sqlite_ tables
// excluded), legacy or new.
std::set<std::string> tableNames(VEQFMDatabase& db);
// Rows of one table; -1 when the count cannot be read.
int64_t rowCount(VEQFMDatabase& db, const std::string& table);

}  // namespace veq
