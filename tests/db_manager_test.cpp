// The new-database helper: exists queries with their literals lifted into
// parameters, and the SQL pieces of a model.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collaborators/db_manager.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/fmdb.h"
#include "collaborators/sql_literals.h"

namespace veq {
namespace {

std::shared_ptr<VEQFMDatabase> recordsDatabase() {
  auto db = VEQFMDatabase::databaseWithPath(":memory:");
  EXPECT_TRUE(db->open());
  EXPECT_TRUE(db->executeStatements(
      "CREATE TABLE x (pk INTEGER PRIMARY KEY, mac_addr TEXT, day_stamp TEXT, serial_number INTEGER);"
      "INSERT INTO x VALUES (1, 'AA:BB', '1710460800', 3), (2, 'O''Brien', '1710460800', 3),"
      " (3, 'AA:BB', '1710547200', -1), (4, 'WHERE = 5', '0', 0), (5, 'AA:BB', '1710460800', 4)"));
  return db;
}

std::vector<std::string> pks(VEQFMDatabase* db, const std::string& sql, const VEQArray& args = {}) {
  std::vector<std::string> out;
  auto rs = db->executeQuery(sql, args);
  while (rs && rs->next()) out.push_back(rs->stringForColumn("pk"));
  return out;
}

TEST(SqlLiteralsTest, LiftedQueriesReturnWhatTheRawTextReturns) {
  auto db = recordsDatabase();
  const char* queries[] = {
      "SELECT pk FROM x WHERE mac_addr = 'O''Brien'",
      "SELECT pk FROM x WHERE day_stamp = '1710460800' AND serial_number = 3 AND mac_addr = 'AA:BB'",
      "SELECT pk FROM x WHERE serial_number >= +3.5 OR mac_addr = 'WHERE = 5' ORDER BY 1 DESC LIMIT 2",
      "SELECT 'a=1', pk FROM \"x\" WHERE day_stamp = 1710460800 AND (serial_number <> 4)",
      "SELECT pk FROM x WHERE mac_addr = 'x' OR '1'='1'",
  };
  for (const char* raw : queries) {
    const auto lifted = veqLiftLiterals(raw);
    ASSERT_TRUE(lifted) << raw;
    EXPECT_EQ(lifted->sql.find('\''), lifted->sql.find("'a=1'")) << lifted->sql;
    EXPECT_EQ(pks(db.get(), lifted->sql, lifted->args), pks(db.get(), raw)) << raw;
  }
  const auto one = veqLiftLiterals("SELECT pk FROM x WHERE d = '17' AND n = 3 AND v > -2.5");
  ASSERT_TRUE(one);
  EXPECT_EQ(one->sql, "SELECT pk FROM x WHERE d = ? AND n = ? AND v > ?");
  EXPECT_EQ(one->args, (VEQArray{"17", 3, -2.5}));
  EXPECT_EQ(veqLiftLiterals("SELECT pk FROM x WHERE d = 'other' AND n = 9 AND v > 1.0")->sql, one->sql);
}

TEST(SqlLiteralsTest, GivesUpOnTextsItDoesNotFullyUnderstand) {
  const char* refused[] = {
      "SELECT pk FROM x WHERE mac_addr = 'AB'CD'",  // a key with a lone quote
      "UPDATE x SET pk = 1 WHERE pk = 2",
      "SELECT pk FROM x WHERE pk = ?",
      "SELECT pk FROM x WHERE pk = 1 -- note",
      "SELECT pk FROM x WHERE pk = 1; DROP TABLE x",
      "SELECT pk FROM x WHERE data = X'00'",
      "SELECT pk FROM x WHERE pk = 12abc",
      "SELECT pk FROM x WHERE pk = 99999999999999999999",
      "SELECT #name FROM x WHERE pk = 1",  // a parameter SQLite would leave unbound
  };
  for (const char* sql : refused) EXPECT_FALSE(veqLiftLiterals(sql)) << sql;
  // SQLite stops at a NUL byte, so the literals after one are not the query's.
  const std::string nulKey = std::string("k") + '\0' + "k";
  EXPECT_FALSE(veqLiftLiterals("SELECT pk FROM x WHERE a = '" + nulKey + "' AND b = '1'"));
  EXPECT_TRUE(VEQDBManager::readHealthLookup(VEQHealthTable::kSportItem,
                                             VEQSyncSqlManager::querySportItemExistSqlStr("1700000000", 1, "kk")));
  EXPECT_FALSE(VEQDBManager::readHealthLookup(VEQHealthTable::kSportItem,
                                              VEQSyncSqlManager::querySportItemExistSqlStr("1700000000", 1, nulKey)));
}

TEST(SqlLiteralsTest, RecognisesEqualityFiltersOnOneTable) {
  const auto filter = veqEqualityFilter(*veqLiftLiterals("select * FROM t_item WHERE date = 5 and dev == 'A'"));
  ASSERT_TRUE(filter);
  EXPECT_EQ(filter->table, "t_item");
  EXPECT_EQ(filter->columns, (std::vector<std::string>{"date", "dev"}));
  for (const char* sql : {"SELECT pk FROM t WHERE a = 1", "SELECT * FROM t WHERE a > 1",
                          "SELECT * FROM t WHERE a = 1 OR b = 2", "SELECT * FROM main.t WHERE a = 1"})
    EXPECT_FALSE(veqEqualityFilter(*veqLiftLiterals(sql))) << sql;
}

TEST(DBManagerTest, OnlyRecordLookUpsRunAndStoreThePk) {
  auto db = VEQFMDatabase::databaseWithPath(":memory:");
  ASSERT_TRUE(db->open());
  ASSERT_TRUE(db->executeStatements(VEQSyncSqlManager::healthSchemaSql() +
                                    veqModelSchemaNamed("VEQGetFuncTable4BluetoothModel")->createTableSql() +
                                    "INSERT INTO t_get_func_main (pk, mac_addr) VALUES (1, 'AA:01'), (2, 'O''Brien');"
                                    "INSERT INTO health_sport_item (pk, mac_addr, day_stamp, serial_number, steps)"
                                    " VALUES (7, 'AA:01', 1710460800, 3, 10);"));
  int64_t pk = 0;
  EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(
      db.get(), "SELECT pk FROM t_get_func_main WHERE mac_addr = 'O''Brien'", &pk));
  EXPECT_EQ(pk, 2);
  const int64_t prepares = db->prepareCount();
  EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(
      db.get(), "SELECT pk FROM t_get_func_main WHERE mac_addr = 'AA:01'", &pk));
  EXPECT_EQ(pk, 1);
  EXPECT_EQ(db->prepareCount(), prepares);  // one statement per query shape
  EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(
      db.get(), VEQSyncSqlManager::querySportItemExistSqlStr("1710460800", 3, "AA:01"), &pk));
  EXPECT_EQ(pk, 7);

  // Keys that turn the look-up into another query must never find another
  // device's record: they answer "no record" without running, and are counted.
  const int64_t refused = VEQDBManager::refusedLookupCount();
  pk = 77;
  const std::string hostile[] = {
      VEQSyncSqlManager::querySportItemExistSqlStr("1710460800", 3, "x' OR '1'='1"),
      VEQSyncSqlManager::querySportItemExistSqlStr("1710460800", 3, "AA:01' AND steps = '10"),  // extra column
      "SELECT pk FROM t_get_func_main WHERE mac_addr = 'x' AND mac_addr = 'AA:01'",          // column twice
      "SELECT pk FROM t_get_func_main WHERE mac_addr = 'AA:01'--'",
      "SELECT pk FROM t_get_func_main WHERE mac_addr = 'it's'",
      "SELECT pk FROM sqlite_master WHERE name = 't_get_func_main'",  // not a record table
      "SELECT mac_addr FROM t_get_func_main WHERE mac_addr = 'AA:01'",
  };
  for (const std::string& sql : hostile) EXPECT_FALSE(VEQDBManager::querySyncExistDataWithSqlDb(db.get(), sql, &pk)) << sql;
  EXPECT_EQ(pk, 77);
  EXPECT_EQ(VEQDBManager::refusedLookupCount() - refused, static_cast<int64_t>(std::size(hostile)));
  EXPECT_EQ(db->failedStatementCount(), 0);
  EXPECT_FALSE(VEQDBManager::querySyncExistDataWithSqlDb(
      db.get(), "SELECT pk FROM t_get_func_main WHERE mac_addr = 'none'", &pk));
  EXPECT_EQ(pk, 77);
}

const VEQModelSchema& tinySchema() {
  static const VEQModelSchema schema = [] {
    VEQModelSchema s;
    s.className = "TinyModel";
    s.tableName = "t_tiny";
    s.properties = {{"isOn", VEQPropertyKind::Bool, "is_on"},
                    {"macAddr", VEQPropertyKind::Text, "mac_addr"},
                    {"migrationState", VEQPropertyKind::Integer, "migration_state"}};
    return s;
  }();
  return schema;
}

struct TinyModel : VEQModel {
  TinyModel() : VEQModel(tinySchema()) {}
};

TEST(DBManagerTest, ModelSqlPiecesFollowPropertyOrder) {
  TinyModel model;
  model.setBool("isOn", true);
  model.setMacAddr("AA");
  model.setMigrationState(1);
  std::string set;
  VEQArray updateValues;
  VEQDBManager::getUpdateStrWithModel(model, &set, &updateValues);
  EXPECT_EQ(set, "is_on = ?,mac_addr = ?,migration_state = ?");
  EXPECT_EQ(updateValues, (VEQArray{true, "AA", 1}));

  std::string columns, placeholders;
  VEQArray insertValues;
  VEQDBManager::getInsertStrWithModel(model, &columns, &placeholders, &insertValues);
  EXPECT_EQ(columns + " " + placeholders, "is_on,mac_addr,migration_state ?,?,?");
  EXPECT_EQ(insertValues, updateValues);
}

}  // namespace
}  // namespace veq
