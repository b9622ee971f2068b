// driver.cpp — the one routine behind both migration drivers.

#include "migration/driver.h"

#include <optional>
#include <stdexcept>
#include <vector>

#include "collaborators/old_db_manager.h"
#include "migration/migration_session.h"
#include "migration/record_stream.h"
#include "migration/row_outcome.h"

namespace veq {
namespace {

// The legacy rows of one table, pulled one at a time: through the legacy
// reader's cursor, or — on the straightforward path — from the whole list
// read first, as getOneTableAllDataWithDbQueue reads it.
class LegacyRowSource {
 public:
  LegacyRowSource(VEQFMDatabaseQueue* oldQueue, const std::string& tableName)
      : straightforward_(veqStraightforwardPaths()) {
    if (!straightforward_) {
      cursor_.emplace(oldQueue, tableName);
      return;
    }
    whole_ = VEQOldDBManager::forEachRowWithDbQueue(oldQueue, tableName, [this](const VEQDict& row) {
      list_.push_back(row);
      return true;
    });
  }
  bool next() { return straightforward_ ? ++at_ <= list_.size() : cursor_->next(); }
  const VEQDict& row() const { return straightforward_ ? list_[at_ - 1] : cursor_->row(); }
  // False when the table could not be read to its end.
  bool whole() const { return straightforward_ ? whole_ : cursor_->whole(); }

 private:
  bool straightforward_;
  std::optional<VEQLegacyRows> cursor_;
  std::vector<VEQDict> list_;
  size_t at_ = 0;
  bool whole_ = true;
};

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
    LegacyRowSource rows(oldQueue, tableName);
    while (rows.next()) {
      veqBeginRow(&rows.row());
      veqKeepRow();
      callback(tableName, nullptr, true);
    }
    return;
  }

  // Shared with the transaction block; the queue runs the block synchronously,
  // so capturing by reference is safe.
  bool result = true;
  dbQueue->inTransaction([&](VEQFMDatabase* db, bool* rollback) {
    LegacyRowSource rows(oldQueue, tableName);
    // Settled at the first row: a table without rows never opens the database.
    if (!rows.next()) {
      if (!rows.whole()) *rollback = true;
      return;
    }
    const auto report = [&](bool success) {
      if (callback) callback(tableName, db, success);
    };
    if (!db->open()) {
      if (driver.onOpenFailure == VEQOpenFailure::kReportNothing) {
        result = false;
        return;
      }
      if (!callback) return;
      do {
        veqBeginRow(&rows.row());
        veqRowFailed("the new database is not open");
        report(result);
      } while (rows.next());
    } else {
      const VEQDriverRoute* route = veqFindRoute(driver, tableName);
      if (route == nullptr) return;
      // Each row's conversion and all its temporaries end before its
      // report, so a long table migrates in bounded memory.
      const auto convert = [&] {
        veqBeginRow(&rows.row());
        result = route->convert(rows.row(), oldQueue, db);
        return result;
      };
      if (route->health != nullptr && !veqStraightforwardPaths()) {
        // Health records go through the session's record writer.
        const std::function<bool()> next = [&] { return rows.next(); };
        const std::function<bool()> convertRow = convert;
        const std::function<void(bool)> reportRow = report;
        if (!VEQMigrationSession::current().recordWriter().run(db, next, convertRow, reportRow)) {
          *rollback = true;  // a failed statement took back rows already reported
          return;
        }
      } else {
        do {
          report(convert());
        } while (rows.next());
      }
    }
    // A legacy table that could not be read to its end is not migrated in
    // part: what its rows wrote is rolled back with the transaction.
    if (!rows.whole()) *rollback = true;
  });
}

}  // namespace veq
