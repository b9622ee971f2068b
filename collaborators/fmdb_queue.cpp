#include "collaborators/fmdb_queue.h"

#include <atomic>

namespace veq {

namespace {
std::atomic<uint64_t> nextQueueIdentity{1};
}  // namespace

VEQFMDatabaseQueue::VEQFMDatabaseQueue(std::shared_ptr<VEQFMDatabase> db)
    : db_(std::move(db)), identity_(nextQueueIdentity.fetch_add(1, std::memory_order_relaxed)) {}

std::shared_ptr<VEQFMDatabaseQueue> VEQFMDatabaseQueue::databaseQueueWithPath(std::string path) {
  auto db = VEQFMDatabase::databaseWithPath(std::move(path));
  db->open();
  return std::make_shared<VEQFMDatabaseQueue>(std::move(db));
}

void VEQFMDatabaseQueue::inDatabase(const std::function<void(VEQFMDatabase* db)>& block) {
  std::lock_guard<std::mutex> lock(mutex_);
  block(db_.get());
}

void VEQFMDatabaseQueue::inTransaction(const std::function<void(VEQFMDatabase* db, bool* rollback)>& block) {
  std::lock_guard<std::mutex> lock(mutex_);
  const bool began = db_->beginTransaction();
  bool rollback = false;
  committed_ = false;
  db_->inQueueTransaction_ = began;
  try {
    block(db_.get(), &rollback);
  } catch (...) {
    db_->inQueueTransaction_ = false;
    if (began && db_->isInTransaction()) db_->rollback();
    throw;
  }
  db_->inQueueTransaction_ = false;
  if (!began) return;
  // A failed COMMIT may leave the transaction open; end it rather than let
  // the next caller's BEGIN fail.
  committed_ = !rollback && db_->commit();
  if (!committed_ && db_->isInTransaction()) db_->rollback();
}

}  // namespace veq
