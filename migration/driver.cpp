// driver.cpp — the one routine behind both migration drivers.

#include "migration/driver.h"

#include <stdexcept>

#include "collaborators/old_db_manager.h"
#include "migration/migration_session.h"
#include "migration/row_outcome.h"

namespace veq {
namespace {

// False when the legacy table could not be read to its end.
bool forEachLegacyRow(VEQFMDatabaseQueue* oldQueue, const std::string& tableName,
                      const std::function<bool(const VEQDict& row)>& each) {
  if (!veqStraightforwardPaths()) return VEQOldDBManager::forEachRowWithDbQueue(oldQueue, tableName, each);
  // The whole list first, as getOneTableAllDataWithDbQueue reads it.
  std::vector<VEQDict> rows;
  const bool whole = VEQOldDBManager::forEachRowWithDbQueue(oldQueue, tableName, [&rows](const VEQDict& row) {
    rows.push_back(row);
    return true;
  });
  for (const VEQDict& row : rows)
    if (!each(row)) break;
  return whole;
}

}  // namespace

void veqUseStraightforwardPaths(bool on) { VEQMigrationSession::current().useStraightforwardPaths(on); }

bool veqStraightforwardPaths() { return VEQMigrationSession::current().straightforwardPaths(); }

const VEQDriverRoute* veqFindRoute(const VEQDriverSpec& driver, std::string_view tableName) {
  for (const VEQDriverRoute& route : driver.routes) {
    if (route.tableName == tableName) return &route;
  }
  return nullptr;
}

void veqRunDriver(const VEQDriverSpec& driver, const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                  VEQFMDatabaseQueue* oldQueue, const VEQProDBManager::CompletionCallback& callback) {
  if (tableName.empty()) {
    if (!callback) {
      if (driver.emptyNameNeedsCallback) {
        throw std::invalid_argument("migration driver: an empty table name needs a completion callback");
      }
      return;
    }
    veqBeginRow(nullptr);
    callback(tableName, nullptr, true);
    return;
  }

  VEQProDBManager::setCurrentDateStr("");
  VEQProDBManager::setSerialNumber(0);

  // Rows are read one at a time into one reused row, so a table of a million
  // rows migrates in the memory of one; the row lives through its report.
  if (tableName == driver.acknowledgedTable) {
    if (!callback) return;
    forEachLegacyRow(oldQueue, tableName, [&](const VEQDict& row) {
      veqBeginRow(&row);
      veqKeepRow();
      callback(tableName, nullptr, true);
      return true;
    });
    return;
  }

  // Shared with the transaction block; the queue runs the block synchronously,
  // so capturing by reference is safe.
  bool result = true;
  dbQueue->inTransaction([&](VEQFMDatabase* db, bool* rollback) {
    // Settled at the first row: a table without rows never opens the database.
    bool firstRow = true;
    bool opened = false;
    const VEQDriverRoute* route = nullptr;
    const bool whole = forEachLegacyRow(oldQueue, tableName, [&](const VEQDict& row) {
      if (firstRow) {
        firstRow = false;
        opened = db->open();
        if (!opened && driver.onOpenFailure == VEQOpenFailure::kReportNothing) {
          result = false;
          return false;
        }
        route = opened ? veqFindRoute(driver, tableName) : nullptr;
        if (opened && route == nullptr) return false;
      }
      veqBeginRow(&row);
      if (!opened) {
        if (!callback) return false;
        veqRowFailed("the new database is not open");
      } else {
        // The row's conversion and all its temporaries end here, before the
        // report, so a long table migrates in bounded memory.
        result = route->convert(row, oldQueue, db);
      }
      if (callback) callback(tableName, db, result);
      return true;
    });
    // A legacy table that could not be read to its end is not migrated in
    // part: what its rows wrote is rolled back with the transaction.
    if (!whole) *rollback = true;
  });
}

}  // namespace veq
