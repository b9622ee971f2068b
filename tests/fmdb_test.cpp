// The database layer: binding, statement reuse, the argument-count rule,
// error reporting and transactions.

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <fstream>

#include "test_support.h"

namespace veq {
namespace {

std::shared_ptr<VEQFMDatabase> memoryDatabase() {
  auto db = VEQFMDatabase::databaseWithPath(":memory:");
  EXPECT_TRUE(db->open());
  EXPECT_TRUE(db->executeStatements("CREATE TABLE t (a, b, c)"));
  return db;
}

TEST(FMDatabaseTest, BindsEveryValueKindAndReadsItBack) {
  auto db = memoryDatabase();
  const VEQArray values = {VEQValue(), VEQValue(true), VEQValue(-42), VEQValue(2.5), VEQValue("x'y"),
                           VEQValue(VEQArray{1, "a"}), VEQValue(VEQDict{{"k", 1}})};
  for (const VEQValue& v : values) ASSERT_TRUE(db->executeUpdate("INSERT INTO t (a) VALUES (?)", {v}));
  auto rs = db->executeQuery("SELECT a, typeof(a) AS type FROM t ORDER BY rowid");
  ASSERT_NE(rs, nullptr);
  const char* types[] = {"null", "integer", "integer", "real", "text", "text", "text"};
  const VEQValue expected[] = {VEQValue(), VEQValue(1), VEQValue(-42), VEQValue(2.5), VEQValue("x'y"),
                               VEQValue("[1,\"a\"]"), VEQValue("{\"k\":1}")};
  for (int i = 0; i < 7; ++i) {
    ASSERT_TRUE(rs->next());
    EXPECT_EQ(rs->stringForColumn("TYPE"), types[i]);  // names are case-insensitive
    EXPECT_EQ(rs->objectForColumn("a"), expected[i]) << i;
  }
  EXPECT_FALSE(rs->next());
}

TEST(FMDatabaseTest, ReusesStatementsWithinABoundedCache) {
  auto db = memoryDatabase();
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(db->executeUpdate("INSERT INTO t (a) VALUES (?)", {i}));
  EXPECT_EQ(db->prepareCount(), 1);

  db->setMaxCachedStatements(8);
  for (int i = 0; i < 40; ++i) db->executeQuery("SELECT " + std::to_string(i))->next();
  EXPECT_EQ(db->cachedStatementCount(), 8u);

  // A statement held by an open result set is not handed to a nested query.
  const std::string sql = "SELECT a FROM t WHERE a < ? ORDER BY a";
  auto outer = db->executeQuery(sql, {3});
  ASSERT_TRUE(outer->next());
  auto inner = db->executeQuery(sql, {50});
  int innerRows = 0;
  while (inner->next()) ++innerRows;
  EXPECT_EQ(innerRows, 50);
  ASSERT_TRUE(outer->next());
  EXPECT_EQ(outer->intForColumn("a"), 1);
  inner.reset();
  outer.reset();
  const int64_t before = db->prepareCount();
  db->executeQuery(sql, {1})->next();
  EXPECT_EQ(db->prepareCount(), before);  // the cached one is free again

  // A text found by its address is still compared: the same string changed
  // in place runs its new text, and an evicted statement is prepared again.
  std::string reused = "SELECT 1";
  EXPECT_EQ(queryInt(db.get(), reused), 1);
  reused[7] = '2';
  EXPECT_EQ(queryInt(db.get(), reused), 2);
  db->setMaxCachedStatements(0);
  db->setMaxCachedStatements(8);
  EXPECT_EQ(queryInt(db.get(), reused), 2);

  // Closing the database closes a result set that is still open.
  auto open = db->executeQuery(sql, {2});
  EXPECT_TRUE(db->close());
  EXPECT_FALSE(open->next());
}

TEST(FMDatabaseTest, ArgumentCountMustMatchUnlessParametersAreNumbered) {
  auto db = memoryDatabase();
  EXPECT_FALSE(db->executeUpdate("INSERT INTO t VALUES (?, ?, ?)", {1, 2}));
  EXPECT_FALSE(db->executeUpdate("INSERT INTO t VALUES (?1, ?, :c)", {1}));
  EXPECT_EQ(db->lastErrorCode(), SQLITE_RANGE);
  ASSERT_TRUE(db->executeUpdate("INSERT INTO t VALUES (?1, ?2, ?3)", {7}));
  auto rs = db->executeQuery("SELECT * FROM t");
  ASSERT_TRUE(rs->next());
  EXPECT_EQ(rs->intForColumn("a"), 7);
  EXPECT_TRUE(rs->columnIsNull("b"));
  EXPECT_TRUE(rs->columnIsNull("c"));
}

TEST(FMDatabaseTest, CountsFailuresAndClearsTheErrorOnSuccess) {
  auto db = memoryDatabase();
  EXPECT_FALSE(db->executeUpdate("INSERT INTO missing VALUES (1)"));
  EXPECT_NE(db->lastErrorMessage().find("missing"), std::string::npos);
  EXPECT_EQ(db->executeQuery("SELEC 1"), nullptr);
  EXPECT_FALSE(db->executeStatements("CREATE TABLE t (x)"));
  EXPECT_EQ(db->failedStatementCount(), 3);
  EXPECT_TRUE(db->hadError());
  EXPECT_TRUE(db->executeUpdate("INSERT INTO t (a) VALUES (1)"));
  EXPECT_FALSE(db->hadError());
  EXPECT_EQ(db->lastErrorMessage(), "");
  EXPECT_EQ(db->failedStatementCount(), 3);

  // The codes of failures since the mark stay known after later successes.
  db->markErrors();
  EXPECT_FALSE(db->failedSinceMarkWith(SQLITE_ERROR));
  EXPECT_FALSE(db->executeUpdate("INSERT INTO missing VALUES (1)"));
  EXPECT_TRUE(db->executeUpdate("INSERT INTO t (a) VALUES (2)"));
  EXPECT_TRUE(db->failedSinceMarkWith(SQLITE_ERROR));
  EXPECT_FALSE(db->failedSinceMarkWith(SQLITE_IOERR));
}

TEST(FMDatabaseTest, OpenRejectsFilesThatAreNotDatabases) {
  ScratchDir dir;
  std::ofstream(dir / "junk.db") << "this is not a database, just some text that is long enough";
  VEQFMDatabase junk(dir / "junk.db");
  EXPECT_FALSE(junk.open());
  EXPECT_FALSE(junk.isOpen());
  VEQFMDatabase absent(dir / "absent.db");
  EXPECT_FALSE(absent.openWithFlags(SQLITE_OPEN_READONLY));
}

TEST(FMDatabaseQueueTest, CommitsOrRollsBackAndAlwaysRunsTheCallback) {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  queue->inDatabase([](VEQFMDatabase* db) { db->executeStatements("CREATE TABLE t (a)"); });
  queue->inTransaction([](VEQFMDatabase* db, bool*) {
    EXPECT_TRUE(db->isInTransaction());
    db->executeUpdate("INSERT INTO t VALUES (1)");
  });
  queue->inTransaction([](VEQFMDatabase* db, bool* rollback) {
    db->executeUpdate("INSERT INTO t VALUES (2)");
    *rollback = true;
  });
  queue->inDatabase([](VEQFMDatabase* db) {
    EXPECT_FALSE(db->isInTransaction());
    EXPECT_EQ(queryInt(db, "SELECT group_concat(a) FROM t"), 1);
  });

  auto broken = VEQFMDatabaseQueue::databaseQueueWithPath("/nonexistent-dir-veq/x.db");
  bool ran = false;
  broken->inTransaction([&](VEQFMDatabase* db, bool*) {
    ran = true;
    EXPECT_FALSE(db->open());
  });
  EXPECT_TRUE(ran);

  EXPECT_NE(queue->identity(), broken->identity());
}

// SQLite ends a transaction by itself after some I/O errors; what the
// callback writes after that must not land outside the transaction.
TEST(FMDatabaseQueueTest, WritesNothingOnceSQLiteHasEndedTheTransaction) {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  queue->inDatabase([](VEQFMDatabase* db) { db->executeStatements("CREATE TABLE t (a)"); });
  queue->inTransaction([](VEQFMDatabase* db, bool*) {
    EXPECT_TRUE(db->executeUpdate("INSERT INTO t VALUES (1)"));
    ASSERT_EQ(sqlite3_exec(db->sqliteHandle(), "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_FALSE(db->executeUpdate("INSERT INTO t VALUES (2)"));
    EXPECT_EQ(db->lastErrorCode(), SQLITE_ABORT);
    EXPECT_EQ(db->executeQuery("SELECT a FROM t"), nullptr);
    EXPECT_FALSE(db->executeStatements("INSERT INTO t VALUES (3)"));
  });
  EXPECT_FALSE(queue->lastTransactionCommitted());
  queue->inDatabase([](VEQFMDatabase* db) {
    EXPECT_EQ(queryInt(db, "SELECT count(*) FROM t"), 0);
    EXPECT_TRUE(db->executeUpdate("INSERT INTO t VALUES (4)"));  // outside the queue's transactions again
  });
}

}  // namespace
}  // namespace veq
