// The fast paths of a migration: legacy rows read one at a time, and record
// look-ups run as constant prepared statements with their keys bound. Each
// must give exactly what the straightforward path gives.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

TEST(FastPathTest, StreamedRowsAreTheListsRowsInOneReusedRow) {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  ASSERT_TRUE(queue->database()->executeStatements(
      "CREATE TABLE t (a INTEGER, b TEXT, c);"
      "INSERT INTO t VALUES (1, 'x', 1.5), (2, NULL, x'6869'), (3, 'z', NULL)"));
  const std::vector<VEQDict> list = VEQOldDBManager::getOneTableAllDataWithDbQueue(queue.get(), "t");
  ASSERT_EQ(list.size(), 3u);

  std::vector<VEQDict> seen;
  std::vector<const VEQDict*> addresses;
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "t", [&](const VEQDict& row) {
    seen.push_back(row);
    addresses.push_back(&row);
    return true;
  });
  EXPECT_EQ(seen, list);
  EXPECT_EQ(addresses.front(), addresses.back());
  EXPECT_TRUE(seen[1]["b"].isNull());  // a NULL after a text does not keep the text

  int calls = 0;
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "t", [&](const VEQDict&) { return ++calls < 2; });
  EXPECT_EQ(calls, 2);
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "missing", [&](const VEQDict&) { return ++calls > 0; });
  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace veq
