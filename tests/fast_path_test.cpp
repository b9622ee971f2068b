// The fast paths of a migration: legacy rows read one at a time, and record
// look-ups run as constant prepared statements with their keys bound. Each
// must give exactly what the straightforward path gives.

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "fixtures/fixtures.h"
#include "cli/run_command.h"

#include "collaborators/db_manager.h"
#include "collaborators/fmdb.h"
#include "collaborators/old_db_manager.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/sql_literals.h"
#include "collaborators/sync_sql_manager.h"
#include "migration/driver.h"
#include "migration/health_record.h"
#include "migration/ios_health/legacy_day.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"
#include "test_support.h"

namespace veq {
namespace {

// The values the constant look-up binds for an exists text, as values.
std::optional<VEQArray> healthLookupKeys(VEQHealthTable table, std::string_view sqlStr) {
  const auto read = VEQDBManager::readHealthLookup(table, sqlStr);
  if (!read) return std::nullopt;
  VEQArray keys;
  for (const VEQSqlParam& key : read->span()) {
    if (key.isText) {
      keys.emplace_back(key.chars);
    } else {
      keys.emplace_back(static_cast<long long>(key.number));
    }
  }
  return keys;
}

TEST(FastPathTest, StreamedRowsAreTheListsRowsInOneReusedRow) {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  // Values are assigned into the reused row in place: each row must still
  // read exactly as stored, whatever the row before held in that column (a
  // longer text, a text before a number or a NULL, bytes before a text).
  ASSERT_TRUE(queue->database()->executeStatements(
      "CREATE TABLE t (a INTEGER, b TEXT, c);"
      "INSERT INTO t VALUES (1, 'x', 1.5), (2, NULL, x'6869'), (3, 'z', NULL),"
      " (4, 'a text longer than any short-string buffer', 'AA:BB:CC:DD:EE:01'), (5, 'ab', 7), (6, '', 'q')"));
  const std::vector<VEQDict> list = VEQOldDBManager::getOneTableAllDataWithDbQueue(queue.get(), "t");
  ASSERT_EQ(list.size(), 6u);
  const std::vector<std::vector<VEQValue>> stored = {
      {1, "x", 1.5}, {2, nullptr, "hi"}, {3, "z", nullptr},
      {4, "a text longer than any short-string buffer", "AA:BB:CC:DD:EE:01"}, {5, "ab", 7}, {6, "", "q"}};
  for (size_t i = 0; i < stored.size(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      EXPECT_EQ(list[i].valueAt(c), stored[i][c]) << "row " << i << " column " << c;
      EXPECT_EQ(list[i].valueAt(c).kind(), stored[i][c].kind()) << "row " << i << " column " << c;
    }
  }

  std::vector<VEQDict> seen;
  std::vector<const VEQDict*> addresses;
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "t", [&](const VEQDict& row) {
    seen.push_back(row);
    addresses.push_back(&row);
    return true;
  });
  EXPECT_EQ(seen, list);
  EXPECT_EQ(addresses.front(), addresses.back());
  EXPECT_TRUE(seen[1]["b"].isNull());  // a NULL after a text does not keep the text

  int calls = 0;
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "t", [&](const VEQDict&) { return ++calls < 2; });
  EXPECT_EQ(calls, 2);
  VEQOldDBManager::forEachRowWithDbQueue(queue.get(), "missing", [&](const VEQDict&) { return ++calls > 0; });
  EXPECT_EQ(calls, 2);
}

TEST(FastPathTest, LeanStatementsLeaveNoStaleBindings) {
  VEQFMDatabase db(":memory:");
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements("CREATE TABLE t (a, b)"));
  const std::string insert = "INSERT INTO t VALUES (?1, ?2)";
  ASSERT_TRUE(db.executeUpdate(insert, {1, "kept?"}));
  ASSERT_TRUE(db.executeUpdate(insert, {2}));  // the same cached statement, ?2 left out
  EXPECT_EQ(queryInt(&db, "SELECT count(*) FROM t WHERE a = 2 AND b IS NULL"), 1);

  const std::string lookup = "SELECT a FROM t WHERE b = ?";
  const std::string key = "kept?";
  int64_t a = -1;
  EXPECT_TRUE(db.queryFirstInteger(lookup, std::vector{VEQSqlParam::text(key)}, &a));
  EXPECT_EQ(a, 1);
  EXPECT_FALSE(db.queryFirstInteger(lookup, std::vector{VEQSqlParam::integer(7)}, &a));
  EXPECT_EQ(a, 1);
  EXPECT_FALSE(db.queryFirstInteger(lookup, {}, &a));  // a parameter left out fails
  EXPECT_NE(db.lastErrorMessage().find("arguments"), std::string::npos);
  EXPECT_FALSE(db.queryFirstInteger("SELECT nope FROM t", {}, &a));
  EXPECT_TRUE(db.hadError());
  EXPECT_TRUE(db.queryFirstInteger(lookup, std::vector{VEQSqlParam::text(key)}, &a));
  EXPECT_FALSE(db.hadError());
  // The statement stays usable through a result set, and back.
  auto rs = db.executeQuery(lookup, {"kept?"});
  ASSERT_TRUE(rs && rs->next());
  EXPECT_TRUE(db.queryFirstInteger(lookup, std::vector{VEQSqlParam::text(key)}, &a));  // a fresh statement meanwhile
  rs.reset();
  EXPECT_TRUE(db.queryFirstInteger(lookup, std::vector{VEQSqlParam::text(key)}, &a));
}

// Every table's exists text as the catalogue writes it, for one set of keys.
struct ExistsText {
  VEQHealthTable table;
  std::string (*day)(std::string_view, std::string_view) = nullptr;
  std::string (*item)(std::string_view, int64_t, std::string_view) = nullptr;
  std::string (*weight)(std::string_view) = nullptr;

  std::string operator()(std::string_view stamp, int64_t serial, std::string_view mac) const {
    return day ? day(stamp, mac) : item ? item(stamp, serial, mac) : weight(stamp);
  }
};

using S = VEQSyncSqlManager;
const std::vector<ExistsText> kExistsTexts = {
    {VEQHealthTable::kSport, &S::querySportExistSqlStr},
    {VEQHealthTable::kSportItem, nullptr, &S::querySportItemExistSqlStr},
    {VEQHealthTable::kSleep, &S::querySleepExistSqlStr},
    {VEQHealthTable::kSleepItem, nullptr, &S::querySleepItemExistSqlStr},
    {VEQHealthTable::kHeartRate, &S::queryHrExistSqlStr},
    {VEQHealthTable::kHeartRateItem, nullptr, &S::queryHrItemExistSqlStr},
    {VEQHealthTable::kBloodPressure, &S::queryBpExistSqlStr},
    {VEQHealthTable::kBloodPressureItem, nullptr, &S::queryBpItemExistSqlStr},
    {VEQHealthTable::kGps, &S::queryGpsExistSqlStr},
    {VEQHealthTable::kGpsPoint, nullptr, &S::queryGpsItemExistSqlStr},
    {VEQHealthTable::kWeight, nullptr, nullptr, &S::queryWeightExistSqlStr},
    {VEQHealthTable::kActivity, &S::queryActivityExistSqlStr},
};

TEST(FastPathTest, ConstantLookupsBindWhatLiftingWouldAndNothingHostile) {
  ASSERT_EQ(kExistsTexts.size(), static_cast<size_t>(VEQHealthTable::kCount));
  struct Keys {
    std::string stamp;
    int64_t serial;
    std::string mac;
  };
  const std::vector<Keys> plain = {{"1710460800", 3, "AA:BB:CC:DD:EE:FF"}, {"", 0, ""},
                                   {"-5", -9223372036854775807 - 1, "a?b;c -- d /* e"}, {"20240315", 96, "é\\"}};
  const std::vector<Keys> hostile = {{"1", 1, "x' OR '1'='1"}, {"1'--", 1, "AA"}, {"1", 1, "a''b"}, {"'", 2, "AA"}};
  for (const ExistsText& text : kExistsTexts) {
    SCOPED_TRACE(std::string(S::tableName(text.table)));
    for (const Keys& k : plain) {
      const std::string sql = text(k.stamp, k.serial, k.mac);
      const auto lifted = veqLiftLiterals(sql);
      ASSERT_TRUE(lifted) << sql;
      const auto keys = healthLookupKeys(text.table, sql);
      ASSERT_TRUE(keys) << sql;
      EXPECT_EQ(*keys, lifted->args) << sql;
    }
    for (const Keys& k : hostile) {
      const std::string sql = text(k.stamp, k.serial, k.mac);
      const auto quoted = [](const std::string& key) { return key.find('\'') != std::string::npos; };
      if (!quoted(k.stamp) && (text.weight || !quoted(k.mac))) continue;  // weight has no device key
      EXPECT_FALSE(healthLookupKeys(text.table, sql)) << sql;
    }
  }
  // Another table's text, or a changed shape, is not the table's look-up.
  EXPECT_FALSE(healthLookupKeys(VEQHealthTable::kSleep, S::querySportExistSqlStr("1", "AA")));
  EXPECT_FALSE(healthLookupKeys(VEQHealthTable::kSport, S::querySportExistSqlStr("1", "AA") + " "));
  EXPECT_FALSE(healthLookupKeys(VEQHealthTable::kSportItem,
                                "SELECT pk FROM health_sport_item WHERE mac_addr = 'AA' AND "
                                "day_stamp = '1' AND serial_number = 99999999999999999999"));
}

TEST(FastPathTest, ConstantLookupsFindWhatTheGeneralPathFinds) {
  auto queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
  VEQFMDatabase* db = queue->database().get();
  ASSERT_TRUE(db->executeStatements(S::healthSchemaSql()));
  ASSERT_TRUE(db->executeStatements(
      "INSERT INTO health_sport_item (pk, mac_addr, day_stamp, serial_number) VALUES"
      " (7, 'AA', 100, 1), (8, 'AA', 100, 2), (9, 'BB', 100, 1), (10, 'x'' OR ''1''=''1', 100, 1);"
      "INSERT INTO health_weight (pk, day_stamp) VALUES (11, 200)"));
  struct Case {
    VEQHealthTable table;
    std::string sql;
  };
  const std::vector<Case> cases = {
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr("100", 2, "AA")},
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr("100", 1, "BB")},
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr("100", 3, "AA")},
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr("0100", 1, "BB")},  // text against INTEGER
      {VEQHealthTable::kWeight, S::queryWeightExistSqlStr("200")},
      {VEQHealthTable::kWeight, S::queryWeightExistSqlStr("201")},
  };
  for (const Case& c : cases) {
    int64_t general = -1, fast = -1;
    const bool generalFound = VEQDBManager::querySyncExistDataWithSqlDb(db, c.sql, &general);
    const bool fastFound = VEQDBManager::queryHealthRecordExistsDb(db, c.table, c.sql, &fast);
    EXPECT_EQ(fastFound, generalFound) << c.sql;
    EXPECT_EQ(fast, general) << c.sql;
  }
  int64_t pk = -1;
  EXPECT_TRUE(VEQDBManager::queryHealthRecordExistsDb(db, VEQHealthTable::kSportItem,
                                                      S::querySportItemExistSqlStr("100", 2, "AA"), &pk));
  EXPECT_EQ(pk, 8);

  // A key that rewrites the look-up is refused, not run, on either path.
  const int64_t refused = VEQDBManager::refusedLookupCount();
  pk = -1;
  EXPECT_FALSE(VEQDBManager::queryHealthRecordExistsDb(db, VEQHealthTable::kSportItem,
                                                       S::querySportItemExistSqlStr("100", 1, "x' OR '1'='1"), &pk));
  EXPECT_EQ(pk, -1);
  EXPECT_EQ(VEQDBManager::refusedLookupCount(), refused + 1);

  // A failing look-up answers "no record" and keeps the database's message.
  ASSERT_TRUE(db->executeStatements("DROP TABLE health_weight"));
  EXPECT_FALSE(
      VEQDBManager::queryHealthRecordExistsDb(db, VEQHealthTable::kWeight, S::queryWeightExistSqlStr("200"), &pk));
  EXPECT_NE(db->lastErrorMessage().find("health_weight"), std::string::npos);
}

TEST(FastPathTest, UpdatesThatKeepTheKeysWriteWhatFullUpdatesWrite) {
  // The same upserts on both paths; keys in forms the column converts.
  struct Upsert {
    std::string stamp, mac;
    VEQValue recordStamp;
    int64_t steps;
    std::string recordMac = "";  // the look-up's when empty
  };
  const std::vector<Upsert> upserts = {
      {"100", "AA", "100", 1}, {"100", "AA", "100", 2},    // found by equal keys
      {"0100", "AA", "0100", 3},                           // text that the INTEGER column reads as 100
      {"100", "AA", 100, 4},                               // the record's stamp a number, the look-up's a text
      {"100", "AA", "100", 7, "BB"},                       // the record moves to other keys
      {"100", "x' OR '1'='1", "100", 5}, {"100", "x' OR '1'='1", "100", 6}};  // refused: inserted twice
  std::vector<std::string> results;
  for (const bool straightforward : {false, true}) {
    veqUseStraightforwardPaths(straightforward);
    VEQFMDatabase db(":memory:");
    ASSERT_TRUE(db.open());
    ASSERT_TRUE(db.executeStatements(S::healthSchemaSql()));
    std::string outcomes;
    for (const Upsert& u : upserts) {
      VEQHealthRecord record(VEQHealthTable::kSportItem, {{"mac_addr", u.recordMac.empty() ? u.mac : u.recordMac},
                                                          {"serial_number", 1},
                                                          {"day_stamp", u.recordStamp}, {"distance", 0},
                                                          {"calories", 0}, {"active_time", 0},
                                                          {"steps", u.steps}, {"sport_mode", 0}});
      veqBeginRow(nullptr);
      EXPECT_TRUE(veqUpsertHealthRecord(&db, S::querySportItemExistSqlStr(u.stamp, 1, u.mac), std::move(record)));
      outcomes += std::string(veqOutcomeName(VEQProDBManager::lastRowReport().outcome)) + " ";
    }
    std::string rows = outcomes;
    for (auto rs = db.executeQuery("SELECT * FROM health_sport_item ORDER BY pk"); rs && rs->next();)
      rows += "\n" + VEQValue(rs->resultDictionary()).description();
    results.push_back(rows);
  }
  veqUseStraightforwardPaths(false);
  EXPECT_EQ(results[0], results[1]);
  EXPECT_NE(results[0].find("\"mac_addr\":\"BB\""), std::string::npos) << results[0];
  EXPECT_EQ(results[0].substr(0, results[0].find('\n')), "inserted updated updated updated updated inserted inserted ");
}

using FastPathSessionTest = SessionTest;

TEST_F(FastPathSessionTest, RememberedStampNormalisationFollowsTheZoneAndTheYear) {
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  VEQSDKUtility::setFixedNow(1717200000);  // 2024: a year 2560 is counted in the Buddhist era
  VEQDateComponents c;
  EXPECT_EQ(VEQProDBManager::newTimeStampWithOldTimeStr("18618595200", &c), "1483228800");
  EXPECT_EQ(c.year, 2017);
  EXPECT_EQ(VEQProDBManager::newTimeStampWithOldTimeStr("18618595200", nullptr), "1483228800");
  VEQSDKUtility::setFixedNow(4115491200);  // 2100: it is not
  EXPECT_EQ(VEQProDBManager::newTimeStampWithOldTimeStr("18618595200", &c), "18618595200");
  EXPECT_EQ(c.year, 2560);

  EXPECT_EQ(VEQProDBManager::newTimeStampWithOldTimeStr("1710460800", &c), "1710460800");
  EXPECT_EQ(c.hour, 0);
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("Asia/Tokyo"));
  EXPECT_EQ(VEQProDBManager::newTimeStampWithOldTimeStr("1710460800", &c), "1710460800");
  EXPECT_EQ(c.hour, 9);
}

TEST_F(FastPathSessionTest, RememberedLegacyDayFollowsTheZoneAndTheYear) {
  // The same legacy date asked again under another zone or in another year
  // must be computed again, not answered from the last day remembered.
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  VEQSDKUtility::setFixedNow(1717200000);  // 2024
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, "1710460800");
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, "1710460800");
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("Asia/Tokyo"));
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, "1710428400");
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  EXPECT_EQ(veqLegacyDay(20240315)->dayStamp, "1710460800");

  EXPECT_EQ(veqLegacyDay(25600101)->components.year, 2017);  // Buddhist era seen from 2024
  VEQSDKUtility::setFixedNow(4115491200);                    // 2100
  EXPECT_EQ(veqLegacyDay(25600101)->components.year, 2560);
  EXPECT_FALSE(veqLegacyDay(0));
}

// Every table of a database, each as the text of its rows in key order.
std::vector<std::string> tableContents(const std::string& path) {
  VEQFMDatabase db(path);
  EXPECT_TRUE(db.open());
  std::vector<std::string> tables;
  for (auto rs = db.executeQuery("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"); rs && rs->next();)
    tables.push_back(rs->stringForColumn("name"));
  std::vector<std::string> contents;
  for (const std::string& table : tables) {
    std::string text = table + ":";
    auto rs = db.executeQuery("SELECT * FROM \"" + table + "\" ORDER BY rowid");
    while (rs && rs->next()) text += "\n" + VEQValue(rs->resultDictionary()).description();
    contents.push_back(std::move(text));
  }
  return contents;
}

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(FastPathTest, FixturesMigrateIdenticallyOnBothPaths) {
  ScratchDir dir;
  std::vector<FixtureFile> written;
  std::string error;
  ASSERT_TRUE(generateFixtures({dir / "fixtures", 40, 2, 7}, &written, &error)) << error;

  struct Outcome {
    std::vector<std::string> tables;
    std::string outcomes, rejects;
    int64_t refused = 0;
  };
  const auto migrate = [&](const std::string& name, bool straightforward) {
    veqUseStraightforwardPaths(straightforward);
    Outcome outcome;
    RunOptions options;
    options.iosPath = dir / "fixtures/ios.sqlite";
    options.androidPath = dir / "fixtures/android.sqlite";
    options.androidCloudPath = dir / "fixtures/android_cloud.sqlite";
    options.defaultsPath = dir / "fixtures/defaults.json";
    options.outPath = dir / (name + ".sqlite");
    options.timeZone = "Europe/Berlin";
    options.quiet = true;
    // Twice: the second run finds every record and updates it.
    for (int run = 0; run < 2; ++run) {
      options.rejectsPath = dir / (name + std::to_string(run) + ".rejects");
      std::ostringstream out, err, tables;
      MigrationReport report;
      EXPECT_NE(runMigration(options, out, err, &report), ExitStatus::kRefused) << err.str();
      printTableOutcomes(report, tables);
      outcome.outcomes += tables.str();
      outcome.rejects += fileText(options.rejectsPath);
      outcome.refused += report.refusedLookups;
    }
    veqUseStraightforwardPaths(false);
    outcome.tables = tableContents(options.outPath);
    return outcome;
  };
  const Outcome fast = migrate("fast", false);
  const Outcome plain = migrate("plain", true);
  ASSERT_EQ(fast.tables.size(), plain.tables.size());
  for (size_t i = 0; i < fast.tables.size(); ++i) EXPECT_EQ(fast.tables[i], plain.tables[i]);
  EXPECT_EQ(fast.outcomes, plain.outcomes);
  EXPECT_EQ(fast.rejects, plain.rejects);
  EXPECT_EQ(fast.refused, plain.refused);
  EXPECT_GT(fast.tables.size(), 20u);
  EXPECT_NE(fast.outcomes.find("updated"), std::string::npos) << fast.outcomes;
}

}  // namespace
}  // namespace veq
