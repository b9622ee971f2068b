// old_db_manager.h — the legacy-database reader.
//
// Reads rows of a legacy SQLite store through its queue. All rows of a
// table come back in stored order as dictionaries whose key list is shared
// by the table's rows; a missing or empty table gives an empty list, never a
// failure. Row counts of a query are served from a per-store cache of grouped
// counts when the query is an equality filter on one table (the shape every
// item count has), so counting the items of each day costs one scan of the
// item table in all, not one per day.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/value.h"

namespace veq {

class VEQOldDBManager {
 public:
  static VEQOldDBManager& shareInstance();

  static std::vector<VEQDict> getOneTableAllDataWithDbQueue(VEQFMDatabaseQueue* dbQueue,
                                                             const std::string& tableName);
  static int64_t getOneTableCountWithDbQueue(VEQFMDatabaseQueue* dbQueue,
                                             const std::string& tableName,
                                             const std::string& sqlStr);
  // Forgets cached counts of one store (all stores when null); call after
  // the legacy store changed.
  static void clearCountCache(VEQFMDatabaseQueue* dbQueue = nullptr);

  VEQFMDatabaseQueue* androidQueue() const { return androidQueue_; }
  void setAndroidQueue(VEQFMDatabaseQueue* queue) { androidQueue_ = queue; }
  VEQFMDatabaseQueue* androidCloudQueue() const { return androidCloudQueue_; }
  void setAndroidCloudQueue(VEQFMDatabaseQueue* queue) { androidCloudQueue_ = queue; }

  VEQOldDBManager(const VEQOldDBManager&) = delete;
  VEQOldDBManager& operator=(const VEQOldDBManager&) = delete;

 private:
  VEQOldDBManager() = default;
  VEQFMDatabaseQueue* androidQueue_ = nullptr;
  VEQFMDatabaseQueue* androidCloudQueue_ = nullptr;
};

}  // namespace veq
