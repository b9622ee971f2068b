// The new-database helper: exists queries with their literals lifted into
// parameters, and the SQL pieces of a model.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collaborators/db_manager.h"
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
  };
  for (const char* sql : refused) EXPECT_FALSE(veqLiftLiterals(sql)) << sql;
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

TEST(DBManagerTest, ExistsQueryStoresThePkOnlyWhenARowExists) {
  auto db = recordsDatabase();
  int64_t pk = 0;
  EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(db.get(), "SELECT pk FROM x WHERE mac_addr = 'O''Brien'", &pk));
  EXPECT_EQ(pk, 2);
  const int64_t prepares = db->prepareCount();
  EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(db.get(), "SELECT pk FROM x WHERE mac_addr = 'WHERE = 5'", &pk));
  EXPECT_EQ(pk, 4);
  EXPECT_EQ(db->prepareCount(), prepares);  // one statement per query shape
  pk = 77;
  EXPECT_FALSE(VEQDBManager::querySyncExistDataWithSqlDb(db.get(), "SELECT pk FROM x WHERE mac_addr = 'none'", &pk));
  EXPECT_FALSE(VEQDBManager::querySyncExistDataWithSqlDb(db.get(), "SELECT pk FROM nowhere WHERE a = 1", &pk));
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
