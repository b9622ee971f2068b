// migration_files.cpp — opening a migration's files with the tool's checks.
#include "files/migration_files.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <filesystem>

#include "collaborators/schema_installer.h"
#include "files/database_inspection.h"

namespace veq {

namespace {

namespace fs = std::filesystem;

Problem createDatabase(const std::string& path, std::shared_ptr<VEQFMDatabase>* db) {
  *db = std::make_shared<VEQFMDatabase>(path);
  if ((*db)->open()) return std::nullopt;
  const std::string message = (*db)->lastErrorMessage();
  db->reset();
  return "cannot create: " + message;
}

// Lock, pragmas and schema of the output. Another process writing the output
// (another run, the SDK in a write transaction) is waited for up to
// `lockWait`; after that the migration is refused before it writes anything.
Problem prepareOutput(VEQFMDatabase& db, std::chrono::milliseconds lockWait, bool* locked) {
  if (sqlite3_db_readonly(db.sqliteHandle(), "main") == 1) return "not writable";
  sqlite3_busy_timeout(db.sqliteHandle(), static_cast<int>(lockWait.count()));
  if (!db.executeStatements("BEGIN IMMEDIATE; ROLLBACK;")) {
    const int code = db.lastErrorCode() & 0xff;
    if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
      *locked = true;
      return fmt::format("locked by another process; gave up after waiting {:.1f} s for its write lock",
                         std::chrono::duration<double>(lockWait).count());
    }
    return "cannot write: " + db.lastErrorMessage();
  }
  std::string error;
  if (db.executeStatements(kOutputPragmas) && veqInstallSchema(&db, &error)) return std::nullopt;
  return "cannot write: " + (error.empty() ? db.lastErrorMessage() : error);
}

}  // namespace

Problem openLegacyStores(const StorePaths& paths, std::vector<OpenStore>* stores) {
  for (const LegacyStoreKind& kind : legacyStoreKinds()) {
    const std::string& path = paths[static_cast<size_t>(kind.store)];
    if (path.empty()) continue;
    std::shared_ptr<VEQFMDatabase> db;
    if (const Problem problem = openCheckedDatabase(path, SQLITE_OPEN_READONLY, &db)) return path + ": " + *problem;
    if (!db->executeStatements(kLegacyPragmas)) return path + ": cannot read: " + db->lastErrorMessage();
    stores->push_back({&kind, path, std::make_shared<VEQFMDatabaseQueue>(db)});
  }
  return std::nullopt;
}

Problem loadUserDefaults(const std::string& path, VEQUserDefaults& defaults) {
  defaults.clear();
  if (path.empty()) return std::nullopt;
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return path + (fs::exists(path, ec) ? ": not a regular file" : ": no such file");
  std::string error;
  if (!defaults.loadFromFile(path, &error)) return path + ": " + error;
  return std::nullopt;
}

Problem openOutput(const std::string& path, std::chrono::milliseconds lockWait,
                   std::shared_ptr<VEQFMDatabaseQueue>* output, bool* locked) {
  bool lockProblem = false;
  std::error_code ec;
  const bool created = !fs::exists(path, ec);
  std::shared_ptr<VEQFMDatabase> db;
  Problem problem = created || fs::file_size(path, ec) == 0 ? createDatabase(path, &db)
                                                             : openCheckedDatabase(path, SQLITE_OPEN_READWRITE, &db);
  if (!problem) problem = prepareOutput(*db, lockWait, &lockProblem);
  if (locked) *locked = lockProblem;
  if (problem) {
    if (db) db->close();
    if (created) {
      for (const char* suffix : {"", "-journal"}) fs::remove(path + suffix, ec);
    }
    return path + ": " + *problem;
  }
  *output = std::make_shared<VEQFMDatabaseQueue>(db);
  return std::nullopt;
}

}  // namespace veq
