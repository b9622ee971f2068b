// End-to-end tests of the veq-migrate tool: the built binary on generated
// stores, plus the in-process entry point for the progress line.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "files/database_inspection.h"
#include "migration/migration_plan.h"
#include "cli/run_command.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"
#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sync_sql_manager.h"
#include "test_support.h"
#include "tool_test_support.h"

namespace veq {
namespace {

namespace fs = std::filesystem;

using Json = nlohmann::json;

using CliTest = ToolTest;

// The menstrual-cycle records carry no device key and are inserted anew on
// every run.
bool insertsAnew(const std::string& table) {
  return table == "t_set_menstruation_info" || table == "t_set_menstruation_remind_info";
}

TEST_F(CliTest, FixturesAreDeterministicAndShapedLikeLegacyStores) {
  fixtures("a", "--days 20 --devices 3 --seed 7");
  fixtures("b", "--days 20 --devices 3 --seed 7");
  fixtures("c", "--days 20 --devices 3 --seed 8");
  for (const char* file : {"ios.sqlite", "android.sqlite", "android_cloud.sqlite", "defaults.json"}) {
    EXPECT_EQ(slurp(path("a") / file), slurp(path("b") / file)) << file;
  }
  EXPECT_NE(slurp(path("a") / "ios.sqlite"), slurp(path("c") / "ios.sqlite"));

  const fs::path ios = path("a") / "ios.sqlite";
  EXPECT_EQ(count(ios, "SELECT COUNT(*) FROM t_user_device WHERE smart_device_id LIKE 'AA:BB:CC:DD:EE:0_'"), 3);
  // Days are YYYYMMDD integers; a day holds at most 96 items numbered 1..96
  // (or all 0), and the day's totals add up its items.
  EXPECT_EQ(count(ios, "SELECT COUNT(*) FROM (SELECT 1 FROM t_sport_item WHERE date > 0 AND smart_device_id <> '' "
                       "GROUP BY smart_device_id, date HAVING COUNT(*) > 96 OR MAX(serial_number) > 96)"),
            0);
  EXPECT_EQ(count(ios, "SELECT COUNT(*) FROM t_sport_data d WHERE d.date > 0 AND d.smart_device_id <> '' AND d.total_step <> "
                       "(SELECT COALESCE(SUM(sport_count), 0) FROM t_sport_item i WHERE i.date = d.date "
                       "AND i.smart_device_id = d.smart_device_id)"),
            0);
  EXPECT_EQ(count(ios, "SELECT COUNT(*) FROM t_sport_item WHERE date = 0 OR smart_device_id = ''"), 2);
}

// The per-table figures a report's "tables" gives, keyed by store and table.
std::map<std::string, Json> outcomes(const Json& tables) {
  std::map<std::string, Json> out;
  for (const Json& t : tables) {
    out[t["store"].get<std::string>() + " " + t["table"].get<std::string>()] =
        Json{t["rows"], t["outcomes"], t["skip_reasons"], t["failed_statements"]};
  }
  return out;
}

// Every row has one outcome and every skip a reason; the rejects file holds
// the skipped rows, each once with its reason, and for the iOS sport days
// exactly the rows without a device or a date.
void expectEveryRowAccountedFor(const Json& report, const std::string& rejects, VEQFMDatabase& db) {
  std::map<std::string, int64_t> skippedPerTable, rejectedPerTable;
  for (const auto& t : report["tables"]) {
    EXPECT_EQ(t["rows"], t["succeeded"].get<int64_t>() + t["failed"].get<int64_t>()) << t["table"];
    EXPECT_EQ(t["failed"], 0) << t["table"];
    const auto& o = t["outcomes"];
    EXPECT_EQ(t["rows"], o["inserted"].get<int64_t>() + o["updated"].get<int64_t>() + o["kept"].get<int64_t>() +
                             o["skipped"].get<int64_t>() + o["failed"].get<int64_t>())
        << t["table"];
    int64_t byReason = 0;
    for (const auto& [reason, n] : t["skip_reasons"].items()) byReason += n.get<int64_t>();
    EXPECT_EQ(byReason, o["skipped"]) << t["table"];
    if (o["skipped"] != 0) skippedPerTable[t["store"].get<std::string>() + " " + t["table"].get<std::string>()] = o["skipped"];
  }
  std::set<int64_t> sportDayRowids;
  std::istringstream lines(rejects);
  for (std::string line; std::getline(lines, line);) {
    const auto reject = Json::parse(line);
    EXPECT_EQ(reject["outcome"], "skipped");
    EXPECT_FALSE(reject["reason"].get<std::string>().empty());
    ++rejectedPerTable[reject["store"].get<std::string>() + " " + reject["table"].get<std::string>()];
    if (reject["store"] == "ios" && reject["table"] == "t_sport_data") sportDayRowids.insert(reject["rowid"].get<int64_t>());
  }
  EXPECT_EQ(rejectedPerTable, skippedPerTable);
  std::set<int64_t> unplaceable;
  for (auto rs = db.executeQuery("SELECT rowid FROM i.t_sport_data WHERE smart_device_id = '' OR date < 1");
       rs && rs->next();) {
    unplaceable.insert(rs->longLongIntForColumn("rowid"));
  }
  EXPECT_EQ(sportDayRowids, unplaceable);
}

// Each device gets each settings record once (the menstrual records, which
// carry no device, once per legacy row), and the bound device takes the
// binding over from the defaults.
void expectSettings(VEQFMDatabase& db, int devices) {
  for (const VEQModelSchema* schema : veqAllModelSchemas()) {
    const std::string& table = schema->tableName;
    if (table.empty() || table.rfind("t_get_func", 0) == 0) continue;
    const std::string perDevice = insertsAnew(table) ? "SELECT COUNT(*) FROM " + table
                                                     : "SELECT COUNT(DISTINCT mac_addr) FROM " + table +
                                                           " WHERE mac_addr LIKE 'AA:BB:CC:DD:EE:0_'";
    EXPECT_EQ(queryInt(&db, perDevice), devices) << table;
  }
  EXPECT_EQ(queryInt(&db, "SELECT bind_state FROM t_get_device_info WHERE device_name = 'VEQ Band 01'"), 1);
}

// Every health table fills; every iOS item (device keys with colons) with a
// device and a date lands once; the sleeps include some that began the
// evening before and some that began after midnight.
void expectIosHealth(VEQFMDatabase& db) {
  for (const std::string& table : VEQSyncSqlManager::healthTableNames())
    EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM " + table), 0) << table;
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_sport_item WHERE mac_addr LIKE '%:%'"),
            queryInt(&db, "SELECT COUNT(*) FROM i.t_sport_item") - 2);
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sleep WHERE mac_addr LIKE '%:%' AND start_stamp < day_stamp"), 0);
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sleep WHERE mac_addr LIKE '%:%' AND start_stamp > day_stamp"), 0);
}

// Distinct (device key, "DATE") of the rows of an Android day table that
// name a device their store knows and a year other than 1970, over both
// Android stores.
std::string androidDays(const std::string& table) {
  std::string sql = "SELECT COUNT(*) FROM (";
  for (const char* store : {"a", "c"}) {
    if (std::string(store) == "c") sql += " UNION ";
    sql += "SELECT CASE WHEN r.smart_device_id <> '' THEN r.smart_device_id ELSE REPLACE(b.MAC_ADDRESS, ':', '') END,"
           " r.DATE FROM " + std::string(store) + "." + table + " r LEFT JOIN " + store +
           ".BASIC_INFOS b ON b.D_ID = r.D_ID WHERE r.YEAR <> 1970 AND (r.smart_device_id <> '' OR b.D_ID IS NOT NULL)";
  }
  return sql + ")";
}

// The Android history (device keys without colons) of both stores lands
// through each store's own registry, once, 1970 days left out, with days
// only one of the stores holds; every point has its track's day.
void expectAndroidHealth(VEQFMDatabase& db) {
  for (auto [legacy, table] : {std::pair{"HEALTH_SPORT", "health_sport"}, {"HEALTH_HEART_RATE", "health_heart_rate"},
                               {"HEALTH_SLEEP", "health_sleep"}, {"HEALTH_BLOOD_PRESSED", "health_blood_pressure"}}) {
    const std::string android = std::string(" FROM ") + table + " WHERE mac_addr NOT LIKE '%:%'";
    EXPECT_GT(queryInt(&db, "SELECT COUNT(*)" + android), 10) << table;
    EXPECT_EQ(queryInt(&db, "SELECT COUNT(*)" + android), queryInt(&db, androidDays(legacy))) << table;
  }
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sport WHERE mac_addr NOT LIKE '%:%' AND day < 10"), 0);
  EXPECT_GT(queryInt(&db, "SELECT COUNT(*) FROM health_sport WHERE mac_addr NOT LIKE '%:%' AND day > 20"), 0);
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_gps_point WHERE day_stamp IS NULL"), 0);
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_gps g WHERE point_count <> (SELECT COUNT(*) FROM"
                          " health_gps_point p WHERE p.mac_addr = g.mac_addr AND p.start_stamp = g.start_stamp)"),
            0);
}

// Every record of every new table as text, in pk order.
std::map<std::string, std::string> contents(const fs::path& file) {
  std::map<std::string, std::string> out;
  VEQFMDatabase db(file.string());
  EXPECT_TRUE(db.open());
  for (const std::string& table : veqNewTableNames()) {
    for (auto rs = db.executeQuery("SELECT * FROM " + table + " ORDER BY pk"); rs && rs->next();) {
      for (int i = 0; i < rs->columnCount(); ++i) out[table] += rs->objectForColumnIndex(i).description() + "|";
      out[table] += "\n";
    }
  }
  return out;
}

// The whole tool on every store: inspect predicts the first run, which
// converts every table of every area once; inspect against that output
// predicts the second run, which adds nothing.
TEST_F(CliTest, RunConvertsEveryAreaOnceAndInspectPredictsEachRun) {
  constexpr int kDevices = 3;
  fixtures("fx", "--days 30 --devices " + std::to_string(kDevices));
  const auto before = snapshot(path("fx"));
  ToolResult inspect = tool("inspect" + stores("fx") + " --json " + path("predicted.json").string());
  ASSERT_EQ(inspect.status, 0) << inspect.err;
  EXPECT_NE(inspect.out.find("what a migration would do"), std::string::npos);
  EXPECT_EQ(snapshot(path("fx")), before);
  EXPECT_FALSE(fs::exists(path("new.sqlite")));
  const Json inspected = json("predicted.json");
  EXPECT_EQ(inspected["stores"].size(), 3u);
  EXPECT_EQ(inspected["stores"][0]["devices"].size(), size_t{kDevices});
  bool sport = false;
  for (const Json& h : inspected["health"]) sport = sport || (h["kind"] == "sport" && h["days"].get<int>() > 0);
  EXPECT_TRUE(sport);

  ToolResult first = tool(runArgs("fx", "new.sqlite") + " --json " + path("report.json").string() + " --rejects " +
                          path("rejects.jsonl").string());
  ASSERT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(first.err, "");  // stderr is not a terminal: no progress line
  EXPECT_NE(first.out.find("t_sport_item"), std::string::npos);
  const Json report = json("report.json");
  EXPECT_EQ(report["ok"], true);
  EXPECT_TRUE(report["not_converted"].empty()) << report["not_converted"];
  EXPECT_EQ(outcomes(inspected["prediction"]["tables"]), outcomes(report["tables"]));
  EXPECT_EQ(json("fx/defaults.json"), Json::object());  // the binding was taken over

  VEQFMDatabase db(path("new.sqlite").string());
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements("ATTACH '" + (path("fx") / "ios.sqlite").string() + "' AS i; ATTACH '" +
                                   (path("fx") / "android.sqlite").string() + "' AS a; ATTACH '" +
                                   (path("fx") / "android_cloud.sqlite").string() + "' AS c;"));
  expectEveryRowAccountedFor(report, slurp(path("rejects.jsonl")), db);
  expectSettings(db, kDevices);
  expectIosHealth(db);
  expectAndroidHealth(db);
  db.close();

  // A report over a file inspect or verify reads, or over the other report,
  // is refused, however spelt.
  const std::string respelt = (path("fx") / ".." / "fx" / "ios.sqlite").string();
  const std::string report1 = path("r.json").string(), report2 = (path("fx") / ".." / "r.json").string();
  for (const std::string command : {"inspect", "verify"}) {
    const std::string given = command + stores("fx") + " --out " + path("new.sqlite").string();
    ToolResult r = tool(given + " --html " + respelt);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "veq-migrate: " + respelt + ": is also a file " + command + " reads\n");
    r = tool(given + " --json " + report1 + " --html " + report2);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "veq-migrate: " + report1 + ": --json names the same file as --html\n");
  }

  const std::string output = slurp(path("new.sqlite"));
  ASSERT_EQ(tool("inspect" + stores("fx") + " --out " + path("new.sqlite").string() + " --json " +
                 path("predicted2.json").string()).status, 0);
  EXPECT_EQ(slurp(path("new.sqlite")), output);
  const auto records = contents(path("new.sqlite"));
  ToolResult second = tool(runArgs("fx", "new.sqlite") + " --quiet --json " + path("again.json").string());
  ASSERT_EQ(second.status, 0) << second.err;
  EXPECT_EQ(second.out + second.err, "");  // --quiet: nothing but errors
  const Json again = json("again.json");
  EXPECT_EQ(outcomes(json("predicted2.json")["prediction"]["tables"]), outcomes(again["tables"]));
  // Every record is rewritten as it was, but for the binding, which only the
  // first run could take over, and the records without a device key.
  const auto rewritten = contents(path("new.sqlite"));
  for (const auto& [table, text] : records) {
    if (insertsAnew(table)) {
      EXPECT_EQ(again["new_records"][table], 2 * report["new_records"][table].get<int64_t>()) << table;
    } else if (table == "t_get_device_info") {
      EXPECT_EQ(again["new_records"][table], report["new_records"][table]);
    } else {
      EXPECT_EQ(rewritten.at(table), text) << table;
    }
  }
}

TEST_F(CliTest, FailedRowsAndUnknownTablesShowInTheReportAndStatus) {
  fixtures("fx");
  VEQFMDatabase legacy((path("fx") / "ios.sqlite").string());
  ASSERT_TRUE(legacy.open());
  ASSERT_TRUE(legacy.executeStatements("CREATE TABLE t_unknown (x INTEGER); INSERT INTO t_unknown VALUES (1);"));
  legacy.close();
  // An output from an older schema whose capability table lacks the columns.
  VEQFMDatabase old(path("new.sqlite").string());
  ASSERT_TRUE(old.open());
  ASSERT_TRUE(old.executeStatements("CREATE TABLE t_get_func_main (pk INTEGER PRIMARY KEY, mac_addr TEXT);"));
  old.close();

  // The defaults are replaced through "<file>.tmp"; a directory there makes
  // the write-back fail after the migration: one line, and a problem.
  fs::create_directory(path("fx") / "defaults.json.tmp");

  ToolResult r = tool(runArgs("fx", "new.sqlite") + " --json " + path("report.json").string());
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  EXPECT_NE(r.out.find("migrated WITH FAILURES"), std::string::npos);
  const auto report = nlohmann::json::parse(slurp(path("report.json")));
  EXPECT_EQ(report["ok"], false);
  EXPECT_EQ(report["problems"].size(), 1u);
  // Two rows with a device fail; the row without one is skipped as done. The
  // table's failed statements are its own, with the first one's message.
  for (const auto& t : report["tables"]) {
    const bool main = t["table"] == "t_func_main";
    EXPECT_EQ(t["failed"], main ? 2 : 0) << t["table"];
    EXPECT_EQ(t["outcomes"]["failed"], main ? 2 : 0) << t["table"];
    EXPECT_EQ(t["failed_statements"], main ? 2 : 0) << t["table"];
    if (main) {
      EXPECT_NE(t["first_error"].get<std::string>().find("has no column named"), std::string::npos);
    }
  }
  const auto unknown = nlohmann::json::parse(R"({"store":"ios","table":"t_unknown"})");
  EXPECT_NE(std::find(report["not_converted"].begin(), report["not_converted"].end(), unknown),
            report["not_converted"].end());
}

TEST(MigrationPlan, EveryKnownTableOnceRegistryTableFirst) {
  for (const LegacyStoreKind& kind : legacyStoreKinds()) {
    const std::vector<MigrationStep> steps = migrationSteps(kind);
    ASSERT_FALSE(steps.empty());
    EXPECT_EQ(steps.front().table, kind.registryTable);
    std::set<std::string> seen;
    for (const MigrationStep& step : steps) {
      EXPECT_TRUE(seen.insert(step.table).second) << kind.label << " sends " << step.table << " twice";
      EXPECT_EQ(step.table.rfind("t_", 0) == 0, kind.ios) << kind.label << " " << step.table;
    }
    if (kind.ios) {
      for (const std::string& name : VEQProDBManager::jkdbMigratableTableNames()) EXPECT_TRUE(seen.count(name)) << name;
    }
  }
}

std::shared_ptr<VEQFMDatabaseQueue> openQueue(const fs::path& file, int flags = SQLITE_OPEN_READONLY) {
  auto db = std::make_shared<VEQFMDatabase>(file.string());
  EXPECT_TRUE(db->openWithFlags(flags)) << file;
  return std::make_shared<VEQFMDatabaseQueue>(db);
}

TEST_F(CliTest, AttachingAStoreFillsItsRegistryWithTheLookUpColumnsAndHandsOverItsHandle) {
  for (const char* file : {"ios.sqlite", "android.sqlite"}) {
    VEQFMDatabase legacy(path(file).string());
    ASSERT_TRUE(legacy.open());
    ASSERT_TRUE(legacy.executeStatements(
        "CREATE TABLE t_user_device (user_id INTEGER, smart_device_id TEXT, band_status INTEGER, extra TEXT);"
        "INSERT INTO t_user_device VALUES (100001, 'AA:BB:CC:DD:EE:01', 1, 'x');"
        "CREATE TABLE BASIC_INFOS (D_ID INTEGER, MAC_ADDRESS TEXT, NAME TEXT);"
        "INSERT INTO BASIC_INFOS VALUES (7, 'AA:BB:CC:DD:EE:02', 'band');"));
  }
  VEQMigrationSession session;  // the plan test's own
  const auto ios = openQueue(path("ios.sqlite")), android = openQueue(path("android.sqlite"));
  session.attachLegacyStore(LegacyStore::kIos, ios.get());
  session.attachLegacyStore(LegacyStore::kAndroid, android.get());
  // The look-ups compare the ids as text and the status as stored.
  EXPECT_EQ(session.manager().iosUserDevices(),
            (std::vector<VEQDict>{{{"user_id", "100001"}, {"smart_device_id", "AA:BB:CC:DD:EE:01"}, {"band_status", 1}}}));
  EXPECT_EQ(session.manager().androidUserDevices(),
            (std::vector<VEQDict>{{{"D_ID", 7}, {"MAC_ADDRESS", "AA:BB:CC:DD:EE:02"}}}));
  EXPECT_TRUE(session.manager().androidCloudUserDevices().empty());
  EXPECT_EQ(session.legacyReader().androidQueue(), android.get());
  EXPECT_THROW(session.migrateStore(LegacyStore::kAndroidCloud, ios.get()), std::invalid_argument);
}

TEST_F(CliTest, PlanCallsRunAttachedStoresInPlanOrderAndTellTheListenerEveryRow) {
  fixtures("fx", "--days 2 --devices 1");
  {
    VEQFMDatabase ios((path("fx") / "ios.sqlite").string());
    ASSERT_TRUE(ios.open());
    ASSERT_TRUE(ios.executeStatements("CREATE TABLE t_unknown (x); INSERT INTO t_unknown VALUES (1);"));
  }
  VEQMigrationSession session;  // the plan test's own
  ASSERT_TRUE(session.setTimeZone(VEQTimeZone::named("UTC")));
  const auto android = openQueue(path("fx") / "android.sqlite"), ios = openQueue(path("fx") / "ios.sqlite");
  const auto output = openQueue(path("new.sqlite"), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  ASSERT_TRUE(veqInstallSchema(output->database().get(), nullptr));
  session.attachLegacyStore(LegacyStore::kAndroid, android.get());  // attached out of plan order
  session.attachLegacyStore(LegacyStore::kIos, ios.get());

  std::vector<std::string> events;
  std::map<std::string, int64_t> rowsHeard;
  MigrationListener listener;
  listener.tableStarted = [&](const TableSummary& t) { events.push_back("start " + t.store + " " + t.table); };
  listener.rowMigrated = [&](const TableSummary& t, int64_t position, const VEQRowReport&) {
    EXPECT_EQ(position, rowsHeard[t.store + " " + t.table]++);
  };
  listener.tableFinished = [&](const TableSummary& t, VEQFMDatabase&) { events.push_back("end " + t.store + " " + t.table); };
  const MigrationSummary summary = session.migrateAllStores(output.get(), &listener);

  EXPECT_FALSE(summary.stopped());
  ASSERT_FALSE(summary.tables.empty());
  // iOS first though attached second; each table started and ended in turn.
  EXPECT_EQ(summary.tables.front().store, "ios");
  EXPECT_EQ(summary.tables.back().store, "android");
  ASSERT_EQ(events.size(), 2 * summary.tables.size());
  for (size_t i = 0; i < summary.tables.size(); ++i) {
    const TableSummary& t = summary.tables[i];
    const std::string name = t.store + " " + t.table;
    EXPECT_EQ(events[2 * i], "start " + name);
    EXPECT_EQ(events[2 * i + 1], "end " + name);
    int64_t outcomes = 0;
    for (const int64_t n : t.outcomes) outcomes += n;
    EXPECT_EQ(outcomes, t.succeeded + t.failed) << name;
    EXPECT_EQ(rowsHeard[name], outcomes) << name;
    EXPECT_FALSE(t.rolledBack) << name;
  }
  int64_t written = 0;
  for (const std::string& table : veqNewTableNames()) written += count(path("new.sqlite"), "SELECT COUNT(*) FROM " + table);
  EXPECT_GT(written, 0);
  EXPECT_EQ(summary.notConverted, (std::vector<std::pair<std::string, std::string>>{{"ios", "t_unknown"}}));
}

TEST_F(CliTest, AFatalWriteErrorStopsThePlanAfterRollingThatTableBack) {
  fixtures("fx", "--days 2 --devices 1");
  {
    VEQFMDatabase output(path("new.sqlite").string());
    ASSERT_TRUE(output.open());
    ASSERT_TRUE(veqInstallSchema(&output, nullptr));
  }
  VEQMigrationSession session;  // the plan test's own
  ASSERT_TRUE(session.setTimeZone(VEQTimeZone::named("UTC")));
  const auto ios = openQueue(path("fx") / "ios.sqlite"), android = openQueue(path("fx") / "android.sqlite");
  const auto output = openQueue(path("new.sqlite"));  // read-only: every write fails
  session.attachLegacyStore(LegacyStore::kIos, ios.get());
  session.attachLegacyStore(LegacyStore::kAndroid, android.get());
  const MigrationSummary summary = session.migrateAllStores(output.get());

  ASSERT_TRUE(summary.stopped());
  const TableSummary& last = summary.tables.back();
  EXPECT_TRUE(last.rolledBack);
  EXPECT_GT(last.failedStatements, 0);
  EXPECT_EQ(*summary.stopReason, "attempt to write a readonly database while migrating ios " + last.table +
                                     "; that table was rolled back and the run stopped");
  for (size_t i = 0; i + 1 < summary.tables.size(); ++i) EXPECT_FALSE(summary.tables[i].rolledBack);
  EXPECT_EQ(last.store, "ios");  // the Android store never ran
  EXPECT_TRUE(summary.notConverted.empty());

  // A listener stops a run the same way: the table it stops in is not kept.
  const auto writable = openQueue(path("new.sqlite"), SQLITE_OPEN_READWRITE);
  MigrationListener listener;
  listener.rowMigrated = [](const TableSummary& t, int64_t position, const VEQRowReport& row) {
    if (t.table == "t_sport_item" && position == 1 && row.outcome == VEQRowOutcome::kInserted) {
      throw MigrationStopped("enough");
    }
  };
  const MigrationSummary stopped = session.migrateStore(LegacyStore::kIos, writable.get(), &listener);
  EXPECT_EQ(*stopped.stopReason, "enough while migrating ios t_sport_item; that table was rolled back and the run stopped");
  EXPECT_TRUE(stopped.tables.back().rolledBack);
  EXPECT_EQ(count(path("new.sqlite"), "SELECT COUNT(*) FROM health_sport_item"), 0);
}

TEST_F(CliTest, BadInputsAreRefusedWithOneLineAndNothingWritten) {
  fixtures("fx");
  const std::string good = (path("fx") / "ios.sqlite").string();
  const std::string ios = slurp(good);
  std::ofstream(path("text.sqlite")) << "just some text\n";
  std::ofstream(path("truncated.sqlite"), std::ios::binary) << ios.substr(0, ios.size() / 2);
  std::string damaged = ios;
  damaged.replace(3 * 4096 + 8, 4, "\xff\xff\xff\xff");  // a cell pointer of the fourth page
  std::ofstream(path("damaged.sqlite"), std::ios::binary) << damaged;

  ASSERT_EQ(tool(runArgs("fx", "existing.sqlite")).status, 0);
  const int64_t before = count(path("existing.sqlite"), "SELECT COUNT(*) FROM health_sport_item");

  auto expectRefused = [this](const ToolResult& r, const std::string& file) {
    EXPECT_EQ(r.status, 2) << file;
    EXPECT_EQ(r.err.rfind("veq-migrate: " + file + ": ", 0), 0u) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_FALSE(fs::exists(path("new.sqlite"))) << file;
  };
  for (const char* in : {"text", "missing", "truncated", "damaged", "damaged>existing"}) {
    const std::string name(in), input = path(name.substr(0, name.find('>')) + ".sqlite").string();
    const std::string out = path(name.find('>') == std::string::npos ? "new.sqlite" : "existing.sqlite").string();
    expectRefused(tool("run --ios " + input + " --out " + out), input);
  }
  // Defaults that are not a JSON object: empty, or nested too deep.
  const std::string defaults = (path("fx") / "defaults.json").string();
  for (const std::string& content : {std::string(), std::string(100000, '[') + std::string(100000, ']'),
                                     std::string(100000, '{')}) {
    std::ofstream(defaults, std::ios::trunc) << content;
    expectRefused(tool(runArgs("fx", "new.sqlite")), defaults);
  }
  // An output that cannot be created: its directory is a regular file.
  const std::string unwritable = path("text.sqlite").string() + "/new.sqlite";
  ToolResult r = tool("run --ios " + good + " --out " + unwritable);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("veq-migrate: " + unwritable + ": ", 0), 0u) << r.err;
  EXPECT_EQ(count(path("existing.sqlite"), "SELECT COUNT(*) FROM health_sport_item"), before);
}

TEST_F(CliTest, KilledRunLeavesEachTableWholeOrUntouched) {
  fixtures("fx", "--days 120 --devices 2");
  const std::string out = path("new.sqlite").string();
  const std::string ios = (path("fx") / "ios.sqlite").string();
  const pid_t pid = spawnTool({"run", "--ios", ios, "--out", out, "--time-zone", "UTC"});
  // Once the sport days are committed, the items are in their transaction.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (std::chrono::steady_clock::now() < deadline && committedRows(out, "health_sport") <= 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  kill(pid, SIGKILL);
  int status;
  waitpid(pid, &status, 0);

  // Opening the file rolls back whatever the killed run had not committed.
  const int64_t items = count(out, "SELECT COUNT(*) FROM health_sport_item");
  const int64_t legacyItems = count(ios, "SELECT COUNT(*) FROM t_sport_item WHERE date > 0 AND smart_device_id <> ''");
  EXPECT_TRUE(items == 0 || items == legacyItems) << items << " of " << legacyItems;
  VEQFMDatabase db(out);
  ASSERT_TRUE(db.open());
  auto rs = db.executeQuery("PRAGMA integrity_check");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->stringForColumn("integrity_check"), "ok");
}

TEST_F(CliTest, HelpVersionAndUsageErrors) {
  ToolResult help = tool("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("fixtures"), std::string::npos);
  ToolResult version = tool("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, std::string("veq-migrate ") + VEQ_VERSION + "\n");
  // Unknown options and subcommands are named.
  for (const auto& [args, says] : {std::pair{"run --ios x.sqlite", "run: --out is required"},
                                   {"--bogus", "unknown option '--bogus'"},
                                   {"migrate --out x", "unknown subcommand 'migrate'"},
                                   {"run --out x --bogus", "run: unknown option '--bogus'"}}) {
    ToolResult r = tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find(says), std::string::npos) << r.err;
  }
  ToolResult zone = tool("run --ios x --out y --time-zone Nowhere/Atlantis");
  EXPECT_EQ(zone.status, 2);
  EXPECT_NE(zone.err.find("Nowhere/Atlantis"), std::string::npos);
}

}  // namespace
}  // namespace veq
