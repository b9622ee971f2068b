// verify and the HTML report, through the tool as a process (cli_test.cpp
// runs inspect beside run).

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "tool_test_support.h"

namespace veq {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

using SupportCommands = ToolTest;

TEST_F(SupportCommands, VerifyFindsMissingDifferingAndExtraRecords) {
  fixtures("fx");
  const std::string out = path("new.sqlite").string();
  ASSERT_EQ(tool("run" + stores("fx") + " --out " + out).status, 0);
  ToolResult fresh = tool("verify" + stores("fx") + " --out " + out + " --json " + path("fresh.json").string());
  EXPECT_EQ(fresh.status, 0) << fresh.out << fresh.err;
  EXPECT_EQ(json("fresh.json")["ok"], true);

  VEQFMDatabase db(out);
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements(
      "DELETE FROM health_sport WHERE pk = (SELECT MIN(pk) FROM health_sport);"
      "UPDATE health_sport_item SET steps = steps + 1 WHERE pk = (SELECT MAX(pk) FROM health_sport_item);"
      "INSERT INTO t_get_func_main (mac_addr) VALUES ('CC:00:00:00:00:09');"));
  db.close();
  const std::string changed = slurp(out);
  ToolResult broken = tool("verify" + stores("fx") + " --out " + out + " --json " + path("broken.json").string());
  EXPECT_EQ(broken.status, 1) << broken.out << broken.err;
  EXPECT_EQ(slurp(out), changed);  // verify changes nothing

  const Json report = json("broken.json");
  EXPECT_EQ(report["ok"], false);
  std::map<std::string, std::vector<int64_t>> found;  // table → missing, differing, extra
  for (const Json& t : report["tables"]) {
    const std::vector<int64_t> counts = {t["missing"], t["differing"], t["extra"]};
    if (counts != std::vector<int64_t>{0, 0, 0}) found[t["table"]] = counts;
    if (t["table"] == "health_sport_item") {
      EXPECT_EQ(t["examples"]["differing"][0]["columns"], Json::array({"steps"}));
    }
  }
  EXPECT_EQ(found, (std::map<std::string, std::vector<int64_t>>{
                       {"health_sport", {1, 0, 0}}, {"health_sport_item", {0, 1, 0}}, {"t_get_func_main", {0, 0, 1}}}));
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
