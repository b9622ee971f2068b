// The legacy iOS health history of generated fixtures, migrated by the
// tool's run command: every table converts, every health table fed by the
// legacy iOS store fills, and a second run adds nothing.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "cli/fixtures.h"
#include "cli/run_command.h"
#include "collaborators/fmdb.h"
#include "test_support.h"

namespace veq {
namespace {

const std::set<std::string> kIosHealthTables = {
    "t_gps_data",        "t_sport_data",      "t_sport_item",    "t_sleep_head",      "t_sleep_item",
    "t_heart_rate_data", "t_heart_rate_item", "t_active_data",   "t_blood_presure",   "t_blood_item",
    "t_and_weight_data"};
const char* const kHealthTables[] = {
    "health_sport",          "health_sport_item",     "health_sleep",          "health_sleep_item",
    "health_heart_rate",     "health_heart_rate_item", "health_blood_pressure", "health_blood_pressure_item",
    "health_gps",            "health_gps_point",      "health_weight",         "health_activity"};

class VEQIosHealthToolTest : public ::testing::Test {
 protected:
  // Runs the tool's migration of the fixtures into new.sqlite; returns the
  // JSON report.
  nlohmann::json run(const std::string& report) {
    RunOptions options;
    options.iosPath = dir_ / "fx/ios.sqlite";
    options.outPath = dir_ / "new.sqlite";
    options.timeZone = "UTC";
    options.jsonPath = dir_ / report;
    std::ostringstream out, err;
    EXPECT_EQ(runMigration(options, out, err), 0) << err.str();
    std::ifstream in(options.jsonPath);
    return nlohmann::json::parse(in);
  }

  std::map<std::string, int64_t> recordCounts() {
    VEQFMDatabase db(dir_ / "new.sqlite");
    EXPECT_TRUE(db.open());
    std::map<std::string, int64_t> counts;
    for (const char* table : kHealthTables) counts[table] = queryInt(&db, std::string("SELECT COUNT(*) FROM ") + table);
    return counts;
  }

  int64_t query(const std::string& sql, const std::string& file = "new.sqlite") {
    VEQFMDatabase db(dir_ / file);
    EXPECT_TRUE(db.open());
    return queryInt(&db, sql);
  }

  ScratchDir dir_;
};

TEST_F(VEQIosHealthToolTest, EveryLegacyHealthTableConvertsAndASecondRunAddsNothing) {
  std::string error;
  ASSERT_TRUE(generateFixtures({dir_ / "fx", 20, 3, 5}, nullptr, &error)) << error;

  const nlohmann::json report = run("first.json");
  for (const auto& t : report["not_converted"]) EXPECT_FALSE(kIosHealthTables.count(t["table"])) << t;
  std::set<std::string> converted;
  for (const auto& t : report["tables"]) {
    if (!kIosHealthTables.count(t["table"])) continue;
    converted.insert(t["table"]);
    EXPECT_EQ(t["failed"], 0) << t;
    EXPECT_GT(t["rows"], 2) << t;
  }
  EXPECT_EQ(converted, kIosHealthTables);
  const auto counts = recordCounts();
  for (const auto& [table, n] : counts) EXPECT_GT(n, 0) << table;

  // The fixtures hold what the conversions have to get right: sleeps that
  // began the evening before and sleeps that began after midnight, several
  // devices weighing on one day, and tracks whose every point is numbered.
  EXPECT_GT(query("SELECT COUNT(*) FROM health_sleep WHERE start_stamp < day_stamp"), 0);
  EXPECT_GT(query("SELECT COUNT(*) FROM health_sleep WHERE start_stamp > day_stamp"), 0);
  const std::string weighings =
      " FROM t_and_weight_data WHERE smart_device_id <> '' AND CAST(time_string AS INTEGER) > 0";
  EXPECT_LT(counts.at("health_weight"), query("SELECT COUNT(*)" + weighings, "fx/ios.sqlite"));
  EXPECT_EQ(counts.at("health_weight"),
            query("SELECT COUNT(DISTINCT CAST(time_string AS INTEGER) / 86400)" + weighings, "fx/ios.sqlite"));
  EXPECT_EQ(query("SELECT COUNT(*) FROM health_gps h WHERE point_count <> (SELECT MAX(serial_number) FROM "
                  "health_gps_point p WHERE p.mac_addr = h.mac_addr AND p.start_stamp = h.start_stamp)"),
            0);

  run("second.json");
  EXPECT_EQ(recordCounts(), counts);
}

}  // namespace
}  // namespace veq
