// verify and the HTML report, and how verify and inspect read an existing
// output, through the tool as a process (cli_test.cpp runs inspect beside
// run).

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "tool_test_support.h"

namespace veq {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

using SupportCommands = ToolTest;

// One record deleted, one changed, one added and one table dropped: the
// text, the JSON and the HTML page carry the same findings, with examples.
TEST_F(SupportCommands, VerifyFindsMissingDifferingAndExtraRecords) {
  fixtures("fx");
  const std::string out = path("new.sqlite").string();
  ASSERT_EQ(tool("run" + stores("fx") + " --out " + out).status, 0);
  ToolResult fresh = tool("verify" + stores("fx") + " --out " + out + " --json " + path("fresh.json").string());
  EXPECT_EQ(fresh.status, 0) << fresh.out << fresh.err;
  EXPECT_EQ(json("fresh.json")["ok"], true);

  const int64_t heartRates = count(out, "SELECT COUNT(*) FROM health_heart_rate_item");
  ASSERT_GT(heartRates, 3);
  VEQFMDatabase db(out);
  ASSERT_TRUE(db.open());
  std::set<std::string> heartRateTimes;  // of the dropped table's records
  for (auto rs = db.executeQuery("SELECT * FROM health_heart_rate_item"); rs && rs->next();) {
    for (int i = 0; i < rs->columnCount(); ++i) heartRateTimes.insert(rs->objectForColumnIndex(i).description());
  }
  ASSERT_TRUE(db.executeStatements(
      "DELETE FROM health_sport WHERE pk = (SELECT MIN(pk) FROM health_sport);"
      "UPDATE health_sport_item SET steps = steps + 1 WHERE pk = (SELECT MAX(pk) FROM health_sport_item);"
      "INSERT INTO t_get_func_main (mac_addr) VALUES ('CC:00:00:00:00:09');"
      "DROP TABLE health_heart_rate_item;"));
  db.close();
  const std::string changed = slurp(out);
  ToolResult broken = tool("verify" + stores("fx") + " --out " + out + " --json " + path("broken.json").string() +
                           " --html " + path("broken.html").string());
  EXPECT_EQ(broken.status, 1) << broken.out << broken.err;
  EXPECT_EQ(slurp(out), changed);  // verify changes nothing

  const Json report = json("broken.json");
  const std::string page = slurp(path("broken.html"));
  EXPECT_EQ(report["ok"], false);
  std::map<std::string, std::vector<int64_t>> found;  // table → missing, differing, extra
  for (const Json& t : report["tables"]) {
    const std::vector<int64_t> counts = {t["missing"], t["differing"], t["extra"]};
    if (counts == std::vector<int64_t>{0, 0, 0}) continue;
    found[t["table"]] = counts;
    // The page's findings: the counts in one row, and every example.
    EXPECT_NE(page.find(fmt::format("<td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td>",
                                    t["table"].get<std::string>(), t["expected"].get<int64_t>(),
                                    t["output"].get<int64_t>(), counts[0], counts[1], counts[2])),
              std::string::npos)
        << t["table"];
    for (const auto& [kind, examples] : t["examples"].items()) {
      for (const Json& e : examples) {
        for (const auto& [column, value] : (kind == "differing" ? e["key"] : e).items()) {
          EXPECT_NE(page.find(value.get<std::string>()), std::string::npos) << kind << " " << column;
        }
      }
    }
  }
  EXPECT_EQ(found, (std::map<std::string, std::vector<int64_t>>{{"health_sport", {1, 0, 0}},
                                                                {"health_sport_item", {0, 1, 0}},
                                                                {"t_get_func_main", {0, 0, 1}},
                                                                {"health_heart_rate_item", {heartRates, 0, 0}}}));
  for (const Json& t : report["tables"]) {
    if (t["table"] == "health_sport_item") {
      EXPECT_EQ(t["examples"]["differing"][0]["columns"], Json::array({"steps"}));
    }
    if (t["table"] == "health_heart_rate_item") {
      // Examples of the dropped table: records the output held before.
      const Json missing = t["examples"].value("missing", Json::array());
      ASSERT_EQ(missing.size(), 3u);
      for (const Json& e : missing) {
        ASSERT_FALSE(e.empty());
        for (const auto& [column, value] : e.items()) EXPECT_TRUE(heartRateTimes.count(value.get<std::string>())) << column << value;
      }
    }
  }
  EXPECT_NE(broken.out.find("    missing: "), std::string::npos);
}

// The SDK keeps its database in WAL mode: commits still in the -wal file are
// part of the output, for verify and for inspect's prediction.
TEST_F(SupportCommands, VerifyAndInspectReadCommitsStillInTheWal) {
  fixtures("fx");
  const fs::path out = path("wal/new.sqlite");
  fs::create_directory(path("wal"));
  ASSERT_EQ(tool(runArgs("fx", "wal/new.sqlite")).status, 0);
  {
    // The SDK's connection stays open, so the log is not checkpointed away.
    VEQFMDatabase sdk(out.string());
    ASSERT_TRUE(sdk.open());
    ASSERT_TRUE(sdk.executeStatements(
        "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;"
        "DELETE FROM health_heart_rate_item WHERE pk IN (SELECT pk FROM health_heart_rate_item ORDER BY pk LIMIT 15);"));
    ASSERT_GT(fs::file_size(out.string() + "-wal"), 0u);
    const auto before = snapshot(path("wal"));

    ToolResult verify = tool("verify" + stores("fx") + " --out " + out.string() + " --json " + path("v.json").string());
    EXPECT_EQ(verify.status, 1) << verify.out << verify.err;
    const Json checked = json("v.json");
    for (const Json& t : checked["tables"]) {
      EXPECT_EQ(t["missing"], t["table"] == "health_heart_rate_item" ? 15 : 0) << t["table"];
    }
    ToolResult inspect = tool("inspect" + stores("fx") + " --out " + out.string() + " --json " + path("i.json").string());
    EXPECT_EQ(inspect.status, 0) << inspect.err;
    EXPECT_EQ(snapshot(path("wal")), before);
  }
  // What run then does is what inspect predicted.
  ASSERT_EQ(tool(runArgs("fx", "wal/new.sqlite") + " --json " + path("r.json").string()).status, 0);
  const Json predicted = json("i.json")["prediction"]["tables"], done = json("r.json")["tables"];
  ASSERT_EQ(predicted.size(), done.size());
  int64_t inserted = 0;
  for (size_t i = 0; i < done.size(); ++i) {
    EXPECT_EQ(predicted[i]["outcomes"], done[i]["outcomes"]) << done[i]["table"];
    inserted += done[i]["outcomes"]["inserted"].get<int64_t>();
  }
  EXPECT_GE(inserted, 15);
}

// A run killed mid-transaction leaves a hot journal: the output is what its
// next open holds (the journal rolled back), and neither file is touched.
TEST_F(SupportCommands, AKilledRunsOutputIsJudgedRolledBackAndLeftAsItWas) {
  fixtures("fx");
  ASSERT_EQ(tool(runArgs("fx", "new.sqlite")).status, 0);
  const fs::path clean = path("new.sqlite"), killed = path("killed/new.sqlite");
  fs::create_directory(path("killed"));
  const std::string cleanBytes = slurp(clean);
  {
    // A small cache spills the uncommitted deletion into the file; the
    // files copied then are those a writer killed at that moment leaves.
    VEQFMDatabase writer(clean.string());
    ASSERT_TRUE(writer.open());
    ASSERT_TRUE(writer.executeStatements(
        "PRAGMA cache_size=2; BEGIN; DELETE FROM health_heart_rate_item; DELETE FROM health_sport_item;"));
    ASSERT_GT(fs::file_size(clean.string() + "-journal"), 0u);
    fs::copy_file(clean, killed);
    fs::copy_file(clean.string() + "-journal", killed.string() + "-journal");
    ASSERT_TRUE(writer.executeStatements("ROLLBACK;"));
  }
  ASSERT_NE(slurp(killed), cleanBytes);  // the uncommitted pages reached the file
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(24);
  for (const auto& entry : fs::directory_iterator(path("killed"))) fs::last_write_time(entry.path(), old);
  const auto before = snapshot(path("killed"));

  ToolResult verify = tool("verify" + stores("fx") + " --out " + killed.string());
  EXPECT_EQ(verify.status, 0) << verify.out << verify.err;
  ASSERT_EQ(tool("inspect" + stores("fx") + " --out " + killed.string() + " --json " + path("k.json").string()).status, 0);
  ASSERT_EQ(tool("inspect" + stores("fx") + " --out " + clean.string() + " --json " + path("c.json").string()).status, 0);
  for (const char* part : {"tables", "new_records"}) {
    EXPECT_EQ(json("k.json")["prediction"][part], json("c.json")["prediction"][part]) << part;
  }

  EXPECT_EQ(snapshot(path("killed")), before);
  for (const auto& entry : fs::directory_iterator(path("killed"))) EXPECT_EQ(fs::last_write_time(entry.path()), old);
}

// Stores, defaults and output read-only in a read-only folder, the tool run
// by a user who owns none of them: predicting and checking need no write
// access to any of them.
TEST_F(SupportCommands, AnUnprivilegedUserInspectsAndVerifiesReadOnlyFiles) {
  const std::optional<std::string> as = unprivileged();
  if (!as) GTEST_SKIP() << "no unprivileged user can run the tool here (root without setpriv, or the tool "
                            "cannot start as that user)";
  fixtures("fx");
  ASSERT_EQ(tool(runArgs("fx", "fx/new.sqlite")).status, 0);
  fs::create_directory(path("reports"));
  fs::permissions(path("reports"), fs::perms::all);
  fs::permissions(dir_.path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                 fs::perms::others_read | fs::perms::others_exec);
  const fs::perms readOnly = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
  for (const auto& entry : fs::directory_iterator(path("fx"))) fs::permissions(entry.path(), readOnly);
  fs::permissions(path("fx"), readOnly | fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec);
  const auto before = snapshot(path("fx"));

  const std::string out = " --out " + path("fx/new.sqlite").string();
  ToolResult inspect = tool("inspect" + stores("fx") + out + " --json " + path("reports/i.json").string(), *as);
  EXPECT_EQ(inspect.status, 0) << inspect.err;
  ToolResult verify = tool("verify" + stores("fx") + out + " --json " + path("reports/v.json").string(), *as);
  EXPECT_EQ(verify.status, 0) << verify.out << verify.err;
  EXPECT_EQ(snapshot(path("fx")), before);

  fs::permissions(path("fx"), fs::perms::owner_all);  // so that the scratch directory can go
}

TEST_F(SupportCommands, TheHtmlReportIsSelfContainedAndRendersInChromium) {
  fixtures("fx");
  ASSERT_EQ(tool("run" + stores("fx") + " --out " + path("new.sqlite").string() + " --html " +
                 path("report.html").string()).status, 0);
  const std::string page = slurp(path("report.html"));
  for (const char* outside : {"http://", "https://", "<script", "src=", "@import", "url("}) {
    EXPECT_EQ(page.find(outside), std::string::npos) << outside;
  }
  EXPECT_NE(page.find("t_sport_item"), std::string::npos);
  EXPECT_NE(page.find("AA:BB:CC:DD:EE:01"), std::string::npos);

  if (std::system("command -v chromium >/dev/null 2>&1") != 0) GTEST_SKIP() << "chromium is not installed";
  // Rendered by a real browser: the page's tables and calendars are in its
  // DOM, and its screenshot holds far more than that of a blank page.
  std::ofstream(path("blank.html")) << "<!DOCTYPE html><html><body></body></html>\n";
  auto render = [this](const std::string& html, const std::string& png) {
    const std::string chromium =
        "chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
        "--disable-background-networking --disable-component-update --disable-sync --user-data-dir=" +
        path("profile").string() + " --window-size=1400,1000 ";
    return std::system((chromium + "--screenshot=" + path(png).string() + " file://" + path(html).string() +
                        " >/dev/null 2>&1").c_str()) == 0 &&
           std::system((chromium + "--dump-dom file://" + path(html).string() + " >" +
                        path(png + ".dom").string() + " 2>/dev/null").c_str()) == 0;
  };
  ASSERT_TRUE(render("report.html", "report.png"));
  ASSERT_TRUE(render("blank.html", "blank.png"));
  const std::string dom = slurp(path("report.png.dom"));
  EXPECT_NE(dom.find("<svg"), std::string::npos);
  EXPECT_NE(dom.find("class=\"both\""), std::string::npos);
  EXPECT_NE(dom.find("t_sport_item"), std::string::npos);
  EXPECT_GT(fs::file_size(path("report.png")), 3 * fs::file_size(path("blank.png")));
}

}  // namespace
}  // namespace veq
