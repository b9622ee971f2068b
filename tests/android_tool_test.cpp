// The tool on generated Android stores: both stores' health history lands
// through each store's own registry, once.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

#include "cli/fixtures.h"
#include "cli/run_command.h"
#include "collaborators/fmdb.h"
#include "test_support.h"

namespace veq {
namespace {

// Distinct (device key, "DATE") of the rows of a legacy day table that name
// a device their store knows and a year other than 1970, over both stores.
std::string expectedDays(const std::string& table) {
  std::string sql = "SELECT COUNT(*) FROM (";
  for (const char* store : {"a", "c"}) {
    if (std::string(store) == "c") sql += " UNION ";
    sql += "SELECT CASE WHEN r.smart_device_id <> '' THEN r.smart_device_id ELSE REPLACE(b.MAC_ADDRESS, ':', '') END,"
           " r.DATE FROM " + std::string(store) + "." + table + " r LEFT JOIN " + store +
           ".BASIC_INFOS b ON b.D_ID = r.D_ID WHERE r.YEAR <> 1970 AND (r.smart_device_id <> '' OR b.D_ID IS NOT NULL)";
  }
  return sql + ")";
}

TEST(VEQAndroidTool, BothStoresMigrateThroughTheirOwnRegistriesOnce) {
  ScratchDir dir;
  std::string error;
  ASSERT_TRUE(generateFixtures({dir.path.string(), 30, 2, 3}, nullptr, &error)) << error;
  RunOptions options;
  options.androidPath = dir / "android.sqlite";
  options.androidCloudPath = dir / "android_cloud.sqlite";
  options.outPath = dir / "new.sqlite";
  options.timeZone = "UTC";

  nlohmann::json reports[2];
  for (int run = 0; run < 2; ++run) {
    options.jsonPath = dir / ("report" + std::to_string(run) + ".json");
    std::ostringstream out, err;
    ASSERT_EQ(runMigration(options, out, err), 0) << err.str() << out.str();
    reports[run] = nlohmann::json::parse(std::ifstream(options.jsonPath));
  }
  const nlohmann::json& report = reports[0];
  EXPECT_TRUE(report["not_converted"].empty()) << report["not_converted"];
  EXPECT_EQ(report["tables"].size(), 26u);  // 13 tables of each store
  for (const auto& t : report["tables"]) EXPECT_EQ(t["failed"], 0) << t["store"] << " " << t["table"];
  // A second run updates every record in place.
  EXPECT_EQ(reports[1]["new_records"], report["new_records"]);

  VEQFMDatabase db(options.outPath);
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements("ATTACH '" + options.androidPath + "' AS a; ATTACH '" + options.androidCloudPath +
                                   "' AS c;"));
  for (auto [legacy, table] : {std::pair{"HEALTH_SPORT", "health_sport"}, {"HEALTH_HEART_RATE", "health_heart_rate"},
                               {"HEALTH_SLEEP", "health_sleep"}, {"HEALTH_BLOOD_PRESSED", "health_blood_pressure"}}) {
    const int64_t records = report["new_records"][table];
    EXPECT_GT(records, 10) << table;
    EXPECT_EQ(records, queryInt(&db, expectedDays(legacy))) << table;
    // Buddhist-era years are corrected, and 1970 days are not migrated.
    EXPECT_EQ(queryInt(&db, std::string("SELECT COUNT(*) FROM ") + table + " WHERE year <> 2017"), 0) << table;
  }
  // Days only the cloud store holds, and days only the local store holds.
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sport WHERE day < 10"), 0);
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sport WHERE day > 20"), 0);
  // Every point has its track's day, and every track its points.
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_gps_point WHERE day_stamp IS NULL"), 0);
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_gps g WHERE point_count <> (SELECT COUNT(*) FROM"
                          " health_gps_point p WHERE p.mac_addr = g.mac_addr AND p.start_stamp = g.start_stamp)"),
            0);
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_activity WHERE hr_values LIKE '[%]'"), 0);
  // Previous weights kept in tenths are scaled back.
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM a.ADDWEIGHTDADA WHERE lastWeightValue > 400"), 0);
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_weight WHERE CAST(last_weight AS REAL) > 400"), 0);
}

}  // namespace
}  // namespace veq
