// The record writer's stream, where it can go wrong: a row that breaks a
// constraint partway through a statement, a trigger that makes SQLite read
// the rows ahead, a callback that throws while SQLite is pulling rows. Each
// case runs the same legacy rows through the stream and through the
// straightforward row-by-row path and expects the same rows, outcomes and
// callbacks; the callback also counts the table to prove its row is there.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "collaborators/sync_sql_manager.h"
#include "ios_health_support.h"
#include "migration/driver.h"

namespace veq {
namespace {

constexpr const char* kItems = "health_sport_item";

class RecordStreamTest : public VEQIosHealthTest {
 protected:
  // Eight intervals of one day; the steps ("sport_count") are 10, 20, …,
  // except that the fifth repeats the second's.
  void SetUp() override {
    VEQIosHealthTest::SetUp();
    legacy(
        "INSERT INTO t_sport_item (smart_device_id, date, serial_number, sport_count) VALUES"
        " ('AA:01', 20240315, 1, 10), ('AA:01', 20240315, 2, 20), ('AA:01', 20240315, 3, 30),"
        " ('AA:01', 20240315, 4, 40), ('AA:01', 20240315, 5, 20), ('AA:01', 20240315, 6, 60),"
        " ('AA:01', 20240315, 7, 70), ('AA:01', 20240315, 8, 80);");
  }

  struct Run {
    std::vector<std::string> reports;  // "inserted 1" (outcome, records then in the table)
    std::vector<std::vector<std::string>> records;
    std::string thrown;
    bool streamed = false;
  };

  // Migrates t_sport_item once, on the stream or on the straightforward
  // path; `throwAt` makes the callback of that report (1-based) throw.
  Run migrateItems(bool straightforward, size_t throwAt = 0) {
    veqUseStraightforwardPaths(straightforward);
    Run run;
    VEQFMDatabase* db = target_->database().get();
    try {
      VEQProDBManager::jkdbDataMigrationWithTableName(
          "t_sport_item", target_.get(), legacy_.get(), [&](const std::string&, VEQFMDatabase* in, bool) {
            const VEQRowReport& r = VEQProDBManager::lastRowReport();
            std::string line(veqOutcomeName(r.outcome));
            line += " " + std::to_string(queryInt(in, std::string("SELECT COUNT(*) FROM ") + kItems));
            if (!r.message.empty()) line += " " + r.message;
            run.reports.push_back(line);
            if (run.reports.size() == throwAt) throw std::runtime_error("listener gave up");
          });
    } catch (const std::runtime_error& e) {
      run.thrown = e.what();
    }
    veqUseStraightforwardPaths(false);
    // The stream's statement was prepared on this connection.
    const std::string& streamSql = VEQSyncSqlManager::shareInstance().streamInsertSqlStr(VEQHealthTable::kSportItem);
    for (sqlite3_stmt* s = sqlite3_next_stmt(db->sqliteHandle(), nullptr); s; s = sqlite3_next_stmt(db->sqliteHandle(), s))
      run.streamed = run.streamed || streamSql == sqlite3_sql(s);
    run.records = records(kItems);
    return run;
  }

  // The same legacy rows again, into a new database with the same set-up.
  void freshTarget(const std::string& name, const std::string& extraSchema) {
    target_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / name);
    std::string error;
    ASSERT_TRUE(veqInstallSchema(target_->database().get(), &error)) << error;
    if (!extraSchema.empty()) {
      ASSERT_TRUE(target_->database()->executeStatements(extraSchema));
    }
  }

  void expectSameOnBothPaths(const std::string& extraSchema, size_t throwAt, const std::vector<std::string>& expected) {
    freshTarget("streamed.db", extraSchema);
    const Run streamed = migrateItems(false, throwAt);
    freshTarget("plain.db", extraSchema);
    const Run plain = migrateItems(true, throwAt);
    EXPECT_TRUE(streamed.streamed);
    EXPECT_FALSE(plain.streamed);
    EXPECT_EQ(streamed.reports, expected);
    EXPECT_EQ(plain.reports, expected);
    EXPECT_EQ(streamed.records, plain.records);
    EXPECT_EQ(streamed.thrown, plain.thrown);
  }
};

TEST_F(RecordStreamTest, ARowThatBreaksAConstraintFailsAloneWithSQLitesMessage) {
  // Steps must be unique: the fifth row fails inside the running statement;
  // the rows before it stay, the rows after it stream on.
  const std::string failed =
      "write_failed 4 UNIQUE constraint failed: health_sport_item.steps";
  expectSameOnBothPaths("CREATE UNIQUE INDEX one_count ON health_sport_item (steps)", 0,
                        {"inserted 1", "inserted 2", "inserted 3", "inserted 4", failed, "inserted 5", "inserted 6",
                         "inserted 7"});
}

TEST_F(RecordStreamTest, RowsAreReportedAfterTheirWriteEvenWhenSQLiteReadsAhead) {
  // A trigger makes SQLite read the whole SELECT before it inserts; each row
  // must still be in the table when it is reported. The trigger's RAISE
  // fails the fifth row as a constraint would.
  expectSameOnBothPaths(
      "CREATE TABLE seen (n INTEGER);"
      "CREATE TRIGGER count_items AFTER INSERT ON health_sport_item BEGIN INSERT INTO seen VALUES (NEW.steps); END;"
      "CREATE TRIGGER no_repeats BEFORE INSERT ON health_sport_item"
      " WHEN EXISTS (SELECT 1 FROM health_sport_item WHERE steps = NEW.steps)"
      " BEGIN SELECT RAISE(FAIL, 'steps seen before'); END;",
      0,
      {"inserted 1", "inserted 2", "inserted 3", "inserted 4", "write_failed 4 steps seen before", "inserted 5",
       "inserted 6", "inserted 7"});
}

TEST_F(RecordStreamTest, ACallbackThatThrowsWhileSQLitePullsRowsLeavesWhatTheRowByRowPathLeaves) {
  // Thrown from the third row's report, which the stream gives from inside
  // SQLite's statement: nothing may cross SQLite, and the exception reaches
  // the caller as it does on the row-by-row path.
  expectSameOnBothPaths("", 3, {"inserted 1", "inserted 2", "inserted 3"});
}

}  // namespace
}  // namespace veq
