// The legacy reader: rows in stored order with one shared key list, and row
// counts whose grouped fast path agrees with counting the query itself.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

std::shared_ptr<VEQFMDatabaseQueue> legacyStore() {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  EXPECT_TRUE(queue->database()->executeStatements(
      "CREATE TABLE t_sport_item (date INTEGER, smart_device_id TEXT, steps REAL, note BLOB);"
      "CREATE TABLE empty_table (a);"
      "INSERT INTO t_sport_item VALUES (20240315, 'AA', 1.5, x'6869'), (20240314, 'AA', NULL, NULL),"
      " (20240315, 'BB', 3, 'n'), (20240315, 'AA', 4, ''), ('20240316', 'A''A', 5, NULL),"
      " (NULL, 'AA', 6, NULL)"));
  return queue;
}

int64_t slowCount(VEQFMDatabaseQueue* queue, const std::string& sql) {
  return queryInt(queue->database().get(), "SELECT COUNT(*) FROM (" + sql + ")");
}

TEST(OldDBManagerTest, ReadsAllRowsInStoredOrderWithSharedKeys) {
  auto queue = legacyStore();
  const auto rows = VEQOldDBManager::getOneTableAllDataWithDbQueue(queue.get(), "T_SPORT_ITEM");
  ASSERT_EQ(rows.size(), 6u);
  EXPECT_EQ(rows[0].keyAt(0), "date");
  EXPECT_EQ(&rows[0].keyAt(0), &rows[5].keyAt(0));  // one key list for all rows
  EXPECT_EQ(rows[0]["date"], VEQValue(20240315));
  EXPECT_EQ(rows[0]["steps"], VEQValue(1.5));
  EXPECT_EQ(rows[0]["note"], VEQValue("hi"));
  EXPECT_EQ(rows[4]["date"], VEQValue(20240316));  // INTEGER affinity converted the text
  EXPECT_EQ(rows[4].stringForKey("smart_device_id"), "A'A");
  EXPECT_TRUE(rows[1]["steps"].isNull());

  EXPECT_TRUE(VEQOldDBManager::getOneTableAllDataWithDbQueue(queue.get(), "no_such\"table").empty());
  EXPECT_FALSE(queue->database()->hadError());
  EXPECT_TRUE(VEQOldDBManager::getOneTableAllDataWithDbQueue(nullptr, "t_sport_item").empty());
  auto closed = VEQFMDatabaseQueue::databaseQueueWithPath("/nonexistent-dir-veq/old.db");
  EXPECT_TRUE(VEQOldDBManager::getOneTableAllDataWithDbQueue(closed.get(), "t_sport_item").empty());
}

TEST(OldDBManagerTest, GroupedCountsAgreeWithCountingTheQuery) {
  auto queue = legacyStore();
  const std::vector<std::string> queries = {
      "SELECT * FROM t_sport_item WHERE date = 20240315 AND smart_device_id = 'AA'",
      "SELECT * FROM t_sport_item WHERE date = '20240315' AND smart_device_id = 'AA'",
      "SELECT * FROM t_sport_item WHERE date = 20240315.0",
      "SELECT * FROM t_sport_item WHERE date = 20240316 AND smart_device_id = 'A''A'",
      "SELECT * FROM t_sport_item WHERE date = 1",
      "SELECT * FROM t_sport_item WHERE steps = 1.5",
      "SELECT * FROM t_sport_item WHERE note = 'hi'",  // a BLOB never equals a text
      "SELECT * FROM t_sport_item WHERE note = 'n'",
      "SELECT * FROM t_sport_item WHERE date > 20240314",
      "SELECT date FROM t_sport_item WHERE smart_device_id = 'AA' GROUP BY date",
  };
  for (const std::string& sql : queries)
    EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(queue.get(), "t_sport_item", sql),
              slowCount(queue.get(), sql))
        << sql;
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(queue.get(), "t_sport_item", queries[0]), 2);

  // Equality filters share one grouped scan per column list.
  const int64_t prepares = queue->database()->prepareCount();
  for (int day = 0; day < 20; ++day)
    VEQOldDBManager::getOneTableCountWithDbQueue(
        queue.get(), "t_sport_item",
        "SELECT * FROM t_sport_item WHERE date = " + std::to_string(20240300 + day) + " AND smart_device_id = 'AA'");
  EXPECT_EQ(queue->database()->prepareCount(), prepares);

  // Errors count as nothing.
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(queue.get(), "t_sport_item",
                                                         "SELECT * FROM t_sport_item WHERE nope = 1"),
            0);
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(nullptr, "t", queries[0]), 0);
}

TEST(OldDBManagerTest, CountsSeeRowsAddedAfterTheFirstCount) {
  auto queue = legacyStore();
  const std::string sql = "SELECT * FROM t_sport_item WHERE date = 20240315 AND smart_device_id = 'BB'";
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(queue.get(), "t_sport_item", sql), 1);
  // Through the same connection.
  queue->database()->executeUpdate("INSERT INTO t_sport_item (date, smart_device_id) VALUES (20240315, 'BB')");
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(queue.get(), "t_sport_item", sql), 2);

  // Through another connection to the same file.
  const std::string path = ::testing::TempDir() + "veq_old_db_count.db";
  std::remove(path.c_str());
  auto store = VEQFMDatabaseQueue::databaseQueueWithPath(path);
  store->database()->executeStatements("CREATE TABLE t (d INTEGER); INSERT INTO t VALUES (1)");
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(store.get(), "t", "SELECT * FROM t WHERE d = 1"), 1);
  auto writer = VEQFMDatabaseQueue::databaseQueueWithPath(path);
  writer->database()->executeUpdate("INSERT INTO t VALUES (1)");
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(store.get(), "t", "SELECT * FROM t WHERE d = 1"), 2);
  VEQOldDBManager::clearCountCache(store.get());
  EXPECT_EQ(VEQOldDBManager::getOneTableCountWithDbQueue(store.get(), "t", "SELECT * FROM t WHERE d = 1"), 2);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace veq
