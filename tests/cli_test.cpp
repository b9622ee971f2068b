// End-to-end tests of the veq-migrate tool: the built binary on generated
// stores, plus the in-process entry point for the progress line.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "cli/database_inspection.h"
#include "cli/migration_plan.h"
#include "cli/run_command.h"
#include "test_support.h"
#include "tool_test_support.h"

extern char** environ;

namespace veq {
namespace {

namespace fs = std::filesystem;

using CliTest = ToolTest;


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

TEST_F(CliTest, RunReportsEveryTableAndASecondRunAddsNothing) {
  fixtures("fx");
  ToolResult first = tool(runArgs("fx", "new.sqlite") + " --json " + path("report.json").string() + " --rejects " +
                          path("rejects.jsonl").string());
  ASSERT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(first.err, "");  // stderr is not a terminal: no progress line
  EXPECT_NE(first.out.find("t_sport_item"), std::string::npos);

  const auto report = nlohmann::json::parse(slurp(path("report.json")));
  ASSERT_TRUE(report["tables"].is_array());
  std::set<std::string> stores;
  std::map<std::string, int64_t> skippedPerTable;
  for (const auto& t : report["tables"]) {
    stores.insert(t["store"].get<std::string>());
    EXPECT_EQ(t["rows"], t["succeeded"].get<int64_t>() + t["failed"].get<int64_t>()) << t["table"];
    EXPECT_EQ(t["failed"], 0) << t["table"];
    // Every row has exactly one outcome, and every skip a reason.
    const auto& o = t["outcomes"];
    EXPECT_EQ(t["rows"], o["inserted"].get<int64_t>() + o["updated"].get<int64_t>() + o["kept"].get<int64_t>() +
                             o["skipped"].get<int64_t>() + o["failed"].get<int64_t>())
        << t["table"];
    int64_t byReason = 0;
    for (const auto& [reason, n] : t["skip_reasons"].items()) byReason += n.get<int64_t>();
    EXPECT_EQ(byReason, o["skipped"]) << t["table"];
    EXPECT_EQ(o["failed"], 0) << t["table"];
    skippedPerTable[t["store"].get<std::string>() + " " + t["table"].get<std::string>()] += o["skipped"].get<int64_t>();
  }
  EXPECT_EQ(stores, (std::set<std::string>{"ios", "android", "android_cloud"}));
  EXPECT_EQ(report["ok"], true);
  // Every iOS item that has a device and a date lands once (the Android
  // stores' device keys have no ":").
  const int64_t items = count(path("fx") / "ios.sqlite", "SELECT COUNT(*) FROM t_sport_item");
  EXPECT_EQ(count(path("new.sqlite"), "SELECT COUNT(*) FROM health_sport_item WHERE mac_addr LIKE '%:%'"), items - 2);
  EXPECT_EQ(report["new_records"]["t_get_func_main"], 2);

  // The rejects file holds the skipped rows, each once, with its reason; for
  // the sport tables exactly the rows without a device or a date.
  std::map<std::string, int64_t> rejectedPerTable;
  std::set<int64_t> sportDayRowids;
  std::istringstream lines(slurp(path("rejects.jsonl")));
  for (std::string line; std::getline(lines, line);) {
    const auto reject = nlohmann::json::parse(line);
    EXPECT_EQ(reject["outcome"], "skipped");
    EXPECT_FALSE(reject["reason"].get<std::string>().empty());
    ++rejectedPerTable[reject["store"].get<std::string>() + " " + reject["table"].get<std::string>()];
    if (reject["table"] == "t_sport_data") {
      sportDayRowids.insert(reject["rowid"].get<int64_t>());
      EXPECT_TRUE(reject["row"]["smart_device_id"] == "" || reject["row"]["date"] == 0) << line;
    }
  }
  std::erase_if(skippedPerTable, [](const auto& entry) { return entry.second == 0; });
  EXPECT_EQ(rejectedPerTable, skippedPerTable);
  std::set<int64_t> unplaceable;
  VEQFMDatabase ios((path("fx") / "ios.sqlite").string());
  ASSERT_TRUE(ios.open());
  for (auto rs = ios.executeQuery("SELECT rowid FROM t_sport_data WHERE smart_device_id = '' OR date < 1");
       rs && rs->next();) {
    unplaceable.insert(rs->longLongIntForColumn("rowid"));
  }
  EXPECT_EQ(sportDayRowids, unplaceable);

  ToolResult second = tool(runArgs("fx", "new.sqlite") + " --json " + path("again.json").string());
  ASSERT_EQ(second.status, 0) << second.err;
  // The menstrual-cycle records carry no device key and are inserted anew
  // on every run (settings_end_to_end_test.cpp checks them).
  auto settled = [](nlohmann::json records) {
    records.erase("t_set_menstruation_info");
    records.erase("t_set_menstruation_remind_info");
    return records;
  };
  EXPECT_EQ(settled(nlohmann::json::parse(slurp(path("again.json")))["new_records"]), settled(report["new_records"]));
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

  ToolResult r = tool(runArgs("fx", "new.sqlite") + " --json " + path("report.json").string());
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_NE(r.out.find("WITH FAILURES"), std::string::npos);
  const auto report = nlohmann::json::parse(slurp(path("report.json")));
  EXPECT_EQ(report["ok"], false);
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

TEST_F(CliTest, RegistryRecordsKeepTheLookUpColumnsAsTheLookUpsCompareThem) {
  VEQFMDatabase legacy(path("ios.sqlite").string());
  ASSERT_TRUE(legacy.open());
  ASSERT_TRUE(legacy.executeStatements(
      "CREATE TABLE t_user_device (user_id INTEGER, smart_device_id TEXT, band_status INTEGER, extra TEXT);"
      "INSERT INTO t_user_device VALUES (100001, 'AA:BB:CC:DD:EE:01', 1, 'x');"));
  legacy.close();
  auto db = std::make_shared<VEQFMDatabase>(path("ios.sqlite").string());
  ASSERT_TRUE(db->openWithFlags(SQLITE_OPEN_READONLY));
  VEQFMDatabaseQueue queue(db);
  const std::vector<VEQDict> records = registryRecords(legacyStoreKinds().front(), &queue);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0], (VEQDict{{"user_id", "100001"}, {"smart_device_id", "AA:BB:CC:DD:EE:01"}, {"band_status", 1}}));
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

  for (const char* in : {"text", "missing", "truncated", "damaged", "damaged>existing"}) {
    const std::string name(in), input = path(name.substr(0, name.find('>')) + ".sqlite").string();
    const std::string out = path(name.find('>') == std::string::npos ? "new.sqlite" : "existing.sqlite").string();
    ToolResult r = tool("run --ios " + input + " --out " + out);
    EXPECT_EQ(r.status, 2) << input;
    EXPECT_EQ(r.err.rfind("veq-migrate: " + input + ": ", 0), 0u) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_FALSE(fs::exists(path("new.sqlite"))) << input;
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
  std::vector<std::string> args = {VEQ_MIGRATE_BIN, "run", "--ios", ios, "--out", out, "--time-zone", "UTC"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid;
  ASSERT_EQ(posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ), 0);
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

TEST_F(CliTest, ProgressLineOnlyWhenAsked) {
  fixtures("fx");
  RunOptions options;
  options.iosPath = (path("fx") / "ios.sqlite").string();
  options.outPath = path("new.sqlite").string();
  options.timeZone = "UTC";
  options.progress = true;
  std::ostringstream out, err;
  EXPECT_EQ(runMigration(options, out, err), 0) << err.str();
  EXPECT_NE(err.str().find(" rows"), std::string::npos);
  EXPECT_EQ(err.str().substr(err.str().size() - 4), "\r\x1b[K");  // the line is cleared at the end
  EXPECT_NE(out.str().find("health_sport_item"), std::string::npos);
  // --quiet: nothing but errors.
  options.progress = false;
  options.quiet = true;
  std::ostringstream quietOut, quietErr;
  EXPECT_EQ(runMigration(options, quietOut, quietErr), 0) << quietErr.str();
  EXPECT_EQ(quietOut.str() + quietErr.str(), "");
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
