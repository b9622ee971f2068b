// Tests of the schema installer on a scratch database.

#include <gtest/gtest.h>

#include <set>

#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "test_support.h"

namespace veq {
namespace {

class SchemaInstallerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(db_->open()); }

  std::set<std::string> tablesInDatabase() {
    std::set<std::string> names;
    auto rs = db_->executeQuery("SELECT name FROM sqlite_master WHERE type = 'table'");
    while (rs && rs->next()) names.insert(rs->stringForColumn("name"));
    return names;
  }

  std::string queryPlan(const std::string& query) {
    std::string plan;
    auto rs = db_->executeQuery("EXPLAIN QUERY PLAN " + query);
    while (rs && rs->next()) plan += rs->stringForColumn("detail") + "\n";
    return plan;
  }

  ScratchDir dir_;
  std::unique_ptr<VEQFMDatabase> db_ = std::make_unique<VEQFMDatabase>(dir_ / "new.sqlite");
};

TEST_F(SchemaInstallerTest, CreatesEveryTableAndCanRunAgain) {
  std::string error;
  ASSERT_TRUE(veqInstallSchema(db_.get(), &error)) << error;
  std::set<std::string> tables = tablesInDatabase();
  std::vector<std::string> expected = veqNewTableNames();
  for (const std::string& name : expected) EXPECT_TRUE(tables.count(name)) << name;
  EXPECT_EQ(std::set<std::string>(expected.begin(), expected.end()).size(), expected.size());
  EXPECT_EQ(expected.front(), VEQGetDeviceFuncBluetoothModel::modelSchema().tableName);

  // The columns stand in property order.
  auto rs = db_->executeQuery("PRAGMA table_info(t_set_long_sit)");
  std::vector<std::string> columns;
  while (rs && rs->next()) columns.push_back(rs->stringForColumn("name"));
  rs.reset();
  EXPECT_EQ(columns, (std::vector<std::string>{"pk", "start_hour", "start_minute", "end_hour", "end_minute",
                                               "interval", "select_weeks", "is_open", "mac_addr",
                                               "migration_state"}));

  // Installing again, in a transaction of the caller's, keeps the records.
  ASSERT_TRUE(db_->executeUpdate("INSERT INTO t_set_alarm (alarm_id, mac_addr) VALUES (?, ?)", {3, "AA"}));
  ASSERT_TRUE(db_->beginTransaction());
  ASSERT_TRUE(veqInstallSchema(db_.get(), &error)) << error;
  ASSERT_TRUE(db_->commit());
  ASSERT_TRUE(veqInstallSchema(db_.get(), &error)) << error;
  EXPECT_EQ(queryInt(db_.get(), "SELECT alarm_id FROM t_set_alarm WHERE mac_addr = 'AA'"), 3);
}

TEST_F(SchemaInstallerTest, FailureKeepsNothingAndReportsTheError) {
  // A table holding the name of a look-up index makes the install fail
  // part-way; the tables created before it must not stay behind.
  ASSERT_TRUE(db_->executeStatements("CREATE TABLE t_set_unit_mac_addr (x)"));
  std::string error;
  EXPECT_FALSE(veqInstallSchema(db_.get(), &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(tablesInDatabase(), (std::set<std::string>{"t_set_unit_mac_addr"}));
}

TEST_F(SchemaInstallerTest, SettingsLookupsUseAnIndex) {
  std::string error;
  ASSERT_TRUE(veqInstallSchema(db_.get(), &error)) << error;
  for (const VEQModelSchema* schema : veqAllModelSchemas()) {
    if (schema->tableName.empty()) continue;
    std::string plan = queryPlan("SELECT pk FROM " + schema->tableName + " WHERE mac_addr = 'x'");
    bool indexed = plan.find("USING INDEX") != std::string::npos ||
                   plan.find("USING COVERING INDEX") != std::string::npos;
    EXPECT_TRUE(indexed) << schema->tableName << ": " << plan;
  }
  std::string plan = queryPlan("SELECT pk FROM t_set_alarm WHERE alarm_id = 3 AND mac_addr = 'x'");
  EXPECT_NE(plan.find("(mac_addr=? AND alarm_id=?)"), std::string::npos) << plan;
}

}  // namespace
}  // namespace veq
