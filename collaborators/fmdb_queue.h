// fmdb_queue.h — the transaction queue of the database layer (fmdb.h).
//
// VEQFMDatabaseQueue serialises access to one database. inTransaction runs
// its callback synchronously on the calling thread between BEGIN and COMMIT,
// and rolls back instead when the callback sets *rollback, when the callback
// throws (the exception goes on) or when COMMIT fails. The callback runs
// even when BEGIN fails (for instance because the database is not open), so
// it can find that out itself; nothing is committed or rolled back then. The
// queue is not re-entrant: calling it from inside its own callback is a
// programming error. identity() is a serial number unique in the process,
// for caches that must not mistake a new queue for a freed one at the same
// address.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "collaborators/fmdb_database.h"

namespace veq {

class VEQFMDatabaseQueue {
 public:
  explicit VEQFMDatabaseQueue(std::shared_ptr<VEQFMDatabase> db);
  // Opens (read-write, creating) the database at `path`; the queue's
  // database() reports isOpen() false when that failed.
  static std::shared_ptr<VEQFMDatabaseQueue> databaseQueueWithPath(std::string path);

  void inDatabase(const std::function<void(VEQFMDatabase* db)>& block);
  void inTransaction(const std::function<void(VEQFMDatabase* db, bool* rollback)>& block);

  const std::shared_ptr<VEQFMDatabase>& database() const { return db_; }
  uint64_t identity() const { return identity_; }
  // Whether the last inTransaction call committed (false when BEGIN or
  // COMMIT failed, the callback asked for a rollback, or it threw): a
  // caller that must know its writes are kept checks it afterwards.
  bool lastTransactionCommitted() const { return committed_; }

 private:
  std::shared_ptr<VEQFMDatabase> db_;
  bool committed_ = false;
  uint64_t identity_;
  std::mutex mutex_;
};

}  // namespace veq
