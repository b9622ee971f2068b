// The health tables' statements: argument positions land in the documented
// columns, updates select on the primary key, and exists queries find the
// rows through an index. (The shorter Android GPS layout is exercised by the
// Android writer's tests and by the tool's second run, which must rewrite
// every record unchanged.)

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "collaborators/db_manager.h"
#include "collaborators/fmdb.h"
#include "collaborators/sync_sql_manager.h"

namespace veq {
namespace {

using Catalogue = VEQSyncSqlManager;
const Catalogue& cat() { return Catalogue::shareInstance(); }

constexpr const char* kMac = "AA:BB:CC:DD:EE:01";
constexpr const char* kStamp = "1710460800";

// One table as a writer sees it: its statements, exists query, record
// length, the stamp column and the stamp's and serial number's positions
// (counted from 1 after the base values; 0 = none), and a few columns with
// the position that fills them. The device key is position 1 (no weight key).
struct Case {
  std::string table;
  const std::string &insert, &update;
  std::function<std::string(const std::string& stamp, int64_t serial)> exists;
  int count;
  const char* stamp;
  int stampPos, serialPos;
  std::vector<std::pair<const char*, int>> columns;
};

std::vector<Case> cases() {
  using C = Catalogue;
  auto day = [](auto f) { return [f](const std::string& s, int64_t) { return f(s, kMac); }; };
  auto item = [](auto f) { return [f](const std::string& s, int64_t n) { return f(s, n, kMac); }; };
  const C& m = cat();
  return {
      {"health_sport", m.sportInsertSqlStr(), m.sportUpdateSqlStr(), day(C::querySportExistSqlStr), 16,
       "day_stamp", 12, 0, {{"item_count", 3}, {"total_steps", 10}, {"recorded_item_count", 16}}},
      {"health_sport_item", m.sportItemInsertSqlStr(), m.sportItemUpdateSqlStr(),
       item(C::querySportItemExistSqlStr), 8, "day_stamp", 3, 2, {{"distance", 4}, {"sport_mode", 8}}},
      {"health_sleep", m.sleepInsertSqlStr(), m.sleepUpdateSqlStr(), day(C::querySleepExistSqlStr), 19,
       "start_stamp", 3, 0, {{"day_stamp", 4}, {"deep_minutes", 10}, {"end_hour", 18}, {"item_count", 19}}},
      {"health_sleep_item", m.sleepItemInsertSqlStr(), m.sleepItemUpdateSqlStr(),
       item(C::querySleepItemExistSqlStr), 6, "day_stamp", 3, 2, {{"stage_stamp", 4}, {"sleep_state", 6}}},
      {"health_heart_rate", m.hrInsertSqlStr(), m.hrUpdateSqlStr(), day(C::queryHrExistSqlStr), 20, "day_stamp",
       2, 0, {{"max_hr", 11}, {"burn_fat_threshold", 17}, {"item_count", 20}}},
      {"health_heart_rate_item", m.hrItemInsertSqlStr(), m.hrItemUpdateSqlStr(), item(C::queryHrItemExistSqlStr),
       5, "day_stamp", 3, 2, {{"heart_rate", 4}, {"offset_minute", 5}}},
      {"health_blood_pressure", m.bpInsertSqlStr(), m.bpUpdateSqlStr(), day(C::queryBpExistSqlStr), 11,
       "day_stamp", 4, 0, {{"start_minute", 3}, {"systolic", 9}, {"item_count", 11}}},
      {"health_blood_pressure_item", m.bpItemInsertSqlStr(), m.bpItemUpdateSqlStr(),
       item(C::queryBpItemExistSqlStr), 8, "day_stamp", 4, 5, {{"measure_stamp", 3}, {"systolic", 8}}},
      {"health_gps", m.gpsInsertSqlStr(), m.gpsUpdateSqlStr(), day(C::queryGpsExistSqlStr), 13, "start_stamp", 7,
       0, {{"point_count", 5}, {"day_stamp", 6}, {"hour", 10}, {"year", 13}}},
      {"health_gps_point", m.gpsItemInsertSqlStr(), m.gpsItemUpdateSqlStr(), item(C::queryGpsItemExistSqlStr), 6,
       "start_stamp", 3, 6, {{"day_stamp", 2}, {"longitude", 4}, {"latitude", 5}}},
      {"health_weight", m.weightInsertSqlStr(), m.weightUpdateSqlStr(),
       [](const std::string& s, int64_t) { return C::queryWeightExistSqlStr(s); }, 17, "day_stamp", 14, 0,
       {{"hand_entered", 8}, {"last_weight", 9}, {"weight", 12}, {"year", 17}}},
      {"health_activity", m.activityInsertSqlStr(), m.activityUpdateSqlStr(), day(C::queryActivityExistSqlStr),
       28, "start_stamp", 21, 0, {{"hr_values", 4}, {"activity_type", 16}, {"year", 28}}},
  };
}

VEQArray base() { return {1, "", "", "", "", ""}; }

// Base values, then the record: the device key and the stamp as texts (as
// the writers bind them), the serial number, and `seed + position` elsewhere.
VEQArray record(const Case& c, int64_t seed, int64_t serial) {
  VEQArray args = base();
  for (int p = 1; p <= c.count; ++p) {
    if (p == 1 && c.table != "health_weight") args.emplace_back(kMac);
    else if (p == c.stampPos) args.emplace_back(kStamp);
    else if (p == c.serialPos) args.emplace_back(serial);
    else args.emplace_back(seed + p);
  }
  return args;
}

class VEQSyncSqlManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db_.open());
    ASSERT_TRUE(db_.executeStatements(Catalogue::healthSchemaSql()));
  }
  VEQDict row(const std::string& sql) {
    auto rs = db_.executeQuery(sql);
    return rs && rs->next() ? rs->resultDictionary() : VEQDict();
  }
  int64_t existingPk(const std::string& query) {
    auto rs = db_.executeQuery(query);
    return rs && rs->next() ? rs->longLongIntForColumn("pk") : 0;
  }
  VEQFMDatabase db_{":memory:"};
};

TEST_F(VEQSyncSqlManagerTest, EveryStatementBindsItsRecordFormat) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.table);
    VEQArray args = record(c, 1000, 3);
    ASSERT_TRUE(db_.executeUpdate(c.insert, args)) << db_.lastErrorMessage();
    const int64_t pk = db_.lastInsertRowId();
    // The stamp is compared with a quoted literal although stored as an integer.
    EXPECT_EQ(existingPk(c.exists(kStamp, 3)), pk);
    EXPECT_EQ(existingPk(c.exists(kStamp, 4)), c.serialPos ? 0 : pk);
    int64_t found = 0;  // and with the literals lifted into text parameters
    EXPECT_TRUE(VEQDBManager::querySyncExistDataWithSqlDb(&db_, c.exists(kStamp, 3), &found));
    EXPECT_EQ(found, pk);

    const std::string select = "SELECT *, typeof(" + std::string(c.stamp) + ") AS t FROM " + c.table;
    VEQDict r = row(select);
    EXPECT_EQ(r["t"].description(), "integer");
    EXPECT_EQ(r["migration_state"].integerValue(), 1);
    EXPECT_EQ(r["mac_addr"].description(), c.table == "health_weight" ? "" : kMac);
    for (const auto& [column, position] : c.columns)
      EXPECT_EQ(r[column].integerValue(), 1000 + position) << column;

    VEQArray changed = record(c, 2000, 3);
    changed.emplace_back(pk);
    ASSERT_TRUE(db_.executeUpdate(c.update, changed)) << db_.lastErrorMessage();
    EXPECT_EQ(db_.changes(), 1);
    r = row(select);
    for (const auto& [column, position] : c.columns)
      EXPECT_EQ(r[column].integerValue(), 2000 + position) << column;

    // Too many arguments, or two too few (one too few is the shorter GPS
    // layout), fail.
    changed.emplace_back(0);
    EXPECT_FALSE(db_.executeUpdate(c.update, changed));
    args.resize(args.size() - 2);
    EXPECT_FALSE(db_.executeUpdate(c.insert, args));
    EXPECT_EQ(row("SELECT count(*) AS n FROM " + c.table)["n"].integerValue(), 1);
  }
}

TEST_F(VEQSyncSqlManagerTest, ExistsQueriesUseAnIndexAndSchemaIsIdempotent) {
  for (const Case& c : cases()) {
    auto rs = db_.executeQuery("EXPLAIN QUERY PLAN " + c.exists(kStamp, 1));
    ASSERT_TRUE(rs && rs->next()) << c.table;
    EXPECT_NE(rs->stringForColumn("detail").find("INDEX " + c.table + "_key ("), std::string::npos)
        << c.table << ": " << rs->stringForColumn("detail");
  }

  EXPECT_TRUE(db_.executeStatements(Catalogue::healthSchemaSql()));
  EXPECT_EQ(row("SELECT count(*) AS n FROM sqlite_master WHERE type = 'table' AND name LIKE 'health_%'")["n"]
                .integerValue(),
            static_cast<int64_t>(Catalogue::healthTableNames().size()));
}

}  // namespace
}  // namespace veq
