// Migrates one legacy table through the library's public API, as an app
// would after an upgrade: a legacy iOS capability table ("t_func_main") of
// two rows, one of which names no device, into a new database.
//
// Usage: migrate_one_table [DIR]   (files are made in DIR, default ".")
// Exit status 0 when the device's record arrived and the other row was
// reported skipped.
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/schema_installer.h"
#include "migration/pro_db_manager.h"

using namespace veq;

int main(int argc, char** argv) {
  const std::filesystem::path dir = argc > 1 ? argv[1] : ".";
  const std::string legacyPath = (dir / "legacy_ios.sqlite").string();
  const std::string newPath = (dir / "new.sqlite").string();
  std::filesystem::remove(legacyPath);
  std::filesystem::remove(newPath);

  // The legacy store the app kept before the upgrade.
  auto legacy = VEQFMDatabaseQueue::databaseQueueWithPath(legacyPath);
  legacy->database()->executeStatements(
      "CREATE TABLE t_func_main (smart_device_id TEXT, heartRate INTEGER, sleepMonitor INTEGER);"
      "INSERT INTO t_func_main VALUES ('AA:BB:CC:DD:EE:01', 1, 0), ('', 1, 1);");

  // The new database and its schema.
  auto newDb = VEQFMDatabaseQueue::databaseQueueWithPath(newPath);
  std::string error;
  if (!veqInstallSchema(newDb->database().get(), &error)) {
    std::fprintf(stderr, "schema: %s\n", error.c_str());
    return 1;
  }

  int inserted = 0, skipped = 0;
  VEQProDBManager::jkdbDataMigrationWithTableName(
      "t_func_main", newDb.get(), legacy.get(), [&](const std::string& table, VEQFMDatabase*, bool success) {
        const VEQRowReport& row = VEQProDBManager::lastRowReport();
        std::printf("%s: %s %s%s\n", table.c_str(), success ? "YES" : "NO",
                    std::string(veqOutcomeName(row.outcome)).c_str(),
                    row.outcome == VEQRowOutcome::kSkipped
                        ? (" (" + std::string(veqSkipReasonName(row.reason)) + ")").c_str()
                        : "");
        inserted += row.outcome == VEQRowOutcome::kInserted;
        skipped += row.outcome == VEQRowOutcome::kSkipped;
      });

  auto rs = newDb->database()->executeQuery(
      "SELECT heart_rate FROM t_get_func_main WHERE mac_addr = 'AA:BB:CC:DD:EE:01'");
  const bool arrived = rs && rs->next() && rs->intForColumn("heart_rate") == 1;
  std::printf("record arrived: %s\n", arrived ? "yes" : "no");
  return arrived && inserted == 1 && skipped == 1 ? 0 : 1;
}
