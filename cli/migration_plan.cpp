// migration_plan.cpp — the order of the legacy tables and the registries.
#include "cli/migration_plan.h"

#include <algorithm>

namespace veq {

namespace {

bool isIosTableName(const std::string& name) { return name.rfind("t_", 0) == 0; }

}  // namespace

const std::vector<LegacyStoreKind>& legacyStoreKinds() {
  using P = VEQProDBManager;
  using O = VEQOldDBManager;
  static const std::vector<LegacyStoreKind> kinds = {
      {"ios", "--ios", "t_user_device", {{"user_id", true}, {"smart_device_id", true}, {"band_status", false}},
       &P::setIosUserDevices, nullptr, true},
      {"android", "--android", "BASIC_INFOS", {{"D_ID", false}, {"MAC_ADDRESS", true}}, &P::setAndroidUserDevices,
       &O::setAndroidQueue, false},
      {"android_cloud", "--android-cloud", "BASIC_INFOS", {{"D_ID", false}, {"MAC_ADDRESS", true}},
       &P::setAndroidCloudUserDevices, &O::setAndroidCloudQueue, false},
  };
  return kinds;
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

}  // namespace veq
