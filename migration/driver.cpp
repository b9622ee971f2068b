// driver.cpp — the one routine behind both migration drivers.

#include "migration/driver.h"

#include <stdexcept>
#include <vector>

#include "collaborators/old_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

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

  if (tableName == driver.acknowledgedTable) {
    const std::vector<VEQDict> rows = VEQOldDBManager::getOneTableAllDataWithDbQueue(oldQueue, tableName);
    if (callback) {
      for (const VEQDict& row : rows) {
        veqBeginRow(&row);
        veqKeepRow();
        callback(tableName, nullptr, true);
      }
    }
    return;
  }

  // Shared with the transaction block; the queue runs the block synchronously,
  // so capturing by reference is safe.
  bool result = true;
  dbQueue->inTransaction([&](VEQFMDatabase* db, bool* /*rollback*/) {
    const std::vector<VEQDict> rows = VEQOldDBManager::getOneTableAllDataWithDbQueue(oldQueue, tableName);
    if (rows.empty()) return;

    if (!db->open()) {
      if (driver.onOpenFailure == VEQOpenFailure::kReportNothing) {
        result = false;
        return;
      }
      if (callback) {
        for (const VEQDict& row : rows) {
          veqBeginRow(&row);
          veqRowFailed("the new database is not open");
          callback(tableName, db, result);
        }
      }
      return;
    }

    const VEQDriverRoute* route = veqFindRoute(driver, tableName);
    if (route == nullptr) return;

    for (const VEQDict& row : rows) {
      veqBeginRow(&row);
      {
        // The row's conversion and all its temporaries end here, before the
        // report, so a long table migrates in bounded memory.
        result = route->convert(row, oldQueue, db);
      }
      if (callback) callback(tableName, db, result);
    }
  });
}

}  // namespace veq
