// The tool on generated stores, twice: every legacy settings table is
// converted, every device gets each settings record, the bound device takes
// the defaults over, and a second run only adds the records that carry no
// device key.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "cli/fixture_tables.h"
#include "collaborators/models.h"
#include "test_support.h"

namespace veq {
namespace {

constexpr int kDevices = 3;

int runTool(const std::string& args) {
  return std::system((std::string(VEQ_MIGRATE_BIN) + " " + args + " >/dev/null").c_str());
}

nlohmann::json readJson(const std::string& path) {
  std::ifstream in(path);
  return nlohmann::json::parse(in);
}

bool insertsAnew(const std::string& table) {
  return table == "t_set_menstruation_info" || table == "t_set_menstruation_remind_info";
}

TEST(SettingsEndToEnd, EveryDeviceGetsItsSettingsOnceAndTheBindingIsTakenOver) {
  ScratchDir dir;
  ASSERT_EQ(runTool("fixtures --out " + dir.path.string() + " --days 2 --devices " + std::to_string(kDevices)), 0);
  const std::string run = "run --ios " + (dir / "ios.sqlite") + " --defaults " + (dir / "defaults.json") +
                          " --time-zone UTC --out " + (dir / "new.sqlite") + " --json ";
  ASSERT_EQ(runTool(run + (dir / "first.json")), 0);
  const nlohmann::json first = readJson(dir / "first.json");

  std::set<std::string> notConverted;
  for (const auto& entry : first["not_converted"]) notConverted.insert(entry["table"].get<std::string>());
  for (const FixtureTable& table : fixtureSettingsTables()) EXPECT_EQ(notConverted.count(table.name), 0u) << table.name;

  VEQFMDatabase db(dir / "new.sqlite");
  ASSERT_TRUE(db.open());
  for (const VEQModelSchema* schema : veqAllModelSchemas()) {
    const std::string& table = schema->tableName;
    if (table.empty() || table.rfind("t_get_func", 0) == 0) continue;
    const std::string devices = insertsAnew(table) ? "SELECT COUNT(*) FROM " + table
                                                   : "SELECT COUNT(DISTINCT mac_addr) FROM " + table +
                                                         " WHERE mac_addr LIKE 'AA:BB:CC:DD:EE:0_'";
    EXPECT_EQ(queryInt(&db, devices), kDevices) << table;
  }
  // The first device was bound; its binding moved into its record.
  EXPECT_EQ(queryInt(&db, "SELECT bind_state FROM t_get_device_info WHERE device_name = 'VEQ Band 01'"), 1);
  EXPECT_EQ(readJson(dir / "defaults.json"), nlohmann::json::object());

  ASSERT_EQ(runTool(run + (dir / "second.json")), 0);
  const nlohmann::json second = readJson(dir / "second.json");
  for (const auto& [table, records] : first["new_records"].items()) {
    EXPECT_EQ(second["new_records"][table], insertsAnew(table) ? 2 * records.get<int64_t>() : records.get<int64_t>())
        << table;
  }
}

}  // namespace
}  // namespace veq
