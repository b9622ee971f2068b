// migration_plan.cpp — the order of the legacy tables and the registries.
#include "migration/migration_plan.h"

#include <algorithm>

#include "collaborators/sql_identifier.h"

namespace veq {

namespace {

bool isIosTableName(const std::string& name) { return name.rfind("t_", 0) == 0; }

}  // namespace

const std::vector<LegacyStoreKind>& legacyStoreKinds() {
  using P = VEQProDBManager;
  using O = VEQOldDBManager;
  static const std::vector<LegacyStoreKind> kinds = {
      {LegacyStore::kIos, "ios", "t_user_device", {{"user_id", true}, {"smart_device_id", true}, {"band_status", false}},
       &P::setIosUserDevices, nullptr, true},
      {LegacyStore::kAndroid, "android", "BASIC_INFOS", {{"D_ID", false}, {"MAC_ADDRESS", true}}, &P::setAndroidUserDevices,
       &O::setAndroidQueue, false},
      {LegacyStore::kAndroidCloud, "android_cloud", "BASIC_INFOS", {{"D_ID", false}, {"MAC_ADDRESS", true}},
       &P::setAndroidCloudUserDevices, &O::setAndroidCloudQueue, false},
  };
  return kinds;
}

const LegacyStoreKind& legacyStoreKind(LegacyStore store) {
  return legacyStoreKinds().at(static_cast<size_t>(store));
}

std::vector<MigrationStep> migrationSteps(const LegacyStoreKind& kind) {
  const MigrationDriver iosDriver = &VEQProDBManager::jkdbDataMigrationWithTableName;
  const MigrationDriver healthDriver = &VEQProDBManager::androidDataMigrationWithTableName;
  std::vector<std::string> healthTables;
  for (const std::string& name : VEQProDBManager::androidMigratableTableNames()) {
    if (isIosTableName(name) == kind.ios) healthTables.push_back(name);
  }

  std::vector<MigrationStep> steps = {{kind.registryTable, kind.ios ? iosDriver : healthDriver}};
  if (kind.ios) {
    for (const std::string& name : VEQProDBManager::jkdbMigratableTableNames()) {
      if (std::find(healthTables.begin(), healthTables.end(), name) == healthTables.end()) {
        steps.push_back({name, iosDriver});
      }
    }
  }
  for (const std::string& name : healthTables) steps.push_back({name, healthDriver});
  return steps;
}

std::vector<MigrationStep> presentSteps(const LegacyStoreKind& kind, const std::set<std::string>& tables) {
  std::vector<MigrationStep> steps = migrationSteps(kind);
  std::erase_if(steps, [&](const MigrationStep& step) { return !tables.count(step.table); });
  return steps;
}

std::vector<VEQDict> registryRecords(const LegacyStoreKind& kind, VEQFMDatabaseQueue* store) {
  std::vector<VEQDict> records;
  for (const VEQDict& row : VEQOldDBManager::getOneTableAllDataWithDbQueue(store, kind.registryTable)) {
    VEQDict record;
    for (const RegistryColumn& column : kind.registryColumns) {
      record.set(column.name, column.asText ? VEQValue(row.stringForKey(column.name)) : row[column.name]);
    }
    records.push_back(std::move(record));
  }
  return records;
}

std::set<std::string> tableNames(VEQFMDatabase& db) {
  std::set<std::string> names;
  auto rs = db.executeQuery("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'");
  while (rs && rs->next()) names.insert(rs->stringForColumn("name"));
  return names;
}

int64_t rowCount(VEQFMDatabase& db, const std::string& table) {
  auto rs = db.executeQuery("SELECT COUNT(*) FROM " + sqlIdentifier(table));
  if (!rs || !rs->next()) return -1;
  return rs->objectForColumnIndex(0).integerValue();
}

}  // namespace veq
