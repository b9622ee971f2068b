// The tool's time zone: the report names it and where its rules came from,
// and a zone that cannot be resolved (here: the tz database hidden by a bind
// mount in a private mount namespace) is refused, never replaced by UTC. The
// fixtures' first iOS sport day, 2017-01-01, starts at 1483196400 in Tokyo
// and at 1483228800 in UTC.

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tool_test_support.h"

namespace veq {
namespace {

class ToolZoneTest : public ToolTest {
 protected:
  // The first day stamp of the sport records of an output.
  int64_t firstSportDay(const std::string& out) const {
    return count(path(out), "SELECT MIN(CAST(day_stamp AS INTEGER)) FROM health_sport");
  }
  // Puts before the tool: $TZ, and with `hidden` a mount namespace in which
  // /usr/share/zoneinfo is an empty directory.
  std::string prefix(const std::string& tz, bool hidden) const {
    std::string p = tz.empty() ? "" : "TZ=" + tz + " ";
    if (hidden) {
      p += "unshare -rm sh -c 'mount --bind " + path("empty").string() +
           " /usr/share/zoneinfo && exec \"$0\" \"$@\"' ";
    }
    return p;
  }
};

TEST_F(ToolZoneTest, ReportsNameTheZoneAndItsSource) {
  fixtures("f");
  ToolResult r = tool(runArgs("f", "named.sqlite", "Asia/Tokyo") + " --json " + path("named.json").string());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("time zone: Asia/Tokyo (tz database /usr/share/zoneinfo)"), std::string::npos) << r.out;
  EXPECT_EQ(json("named.json")["time_zone"]["source"], "tz database /usr/share/zoneinfo");
  EXPECT_EQ(firstSportDay("named.sqlite"), 1483196400);

  r = tool(runArgs("f", "local.sqlite", "") + " --json " + path("local.json").string(), prefix("Asia/Tokyo", false));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(json("local.json")["time_zone"], (nlohmann::json{{"name", "Asia/Tokyo"}, {"source", "platform C library"}}));
  EXPECT_EQ(firstSportDay("local.sqlite"), 1483196400);

  r = tool("inspect" + stores("f", "Asia/Tokyo"));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("time zone: Asia/Tokyo (tz database"), std::string::npos) << r.out;
}

TEST_F(ToolZoneTest, WithoutTheTzDatabaseANamedZoneIsRefused) {
  if (std::system("unshare -rm true 2>/dev/null") != 0) GTEST_SKIP() << "unshare cannot make a mount namespace here";
  fixtures("f");
  std::filesystem::create_directory(path("empty"));

  // UTC needs no database.
  ToolResult r = tool(runArgs("f", "utc.sqlite"), prefix("", true));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(firstSportDay("utc.sqlite"), 1483228800);

  struct Case {
    const char* tz;
    const char* zoneOption;
  };
  for (const Case& c : {Case{"", "Asia/Tokyo"}, Case{"Asia/Tokyo", ""}, Case{"Asia/Tokyo", "Asia/Tokyo"}}) {
    const std::string label = std::string("TZ=") + c.tz + " --time-zone " + c.zoneOption;
    r = tool(runArgs("f", "hidden.sqlite", c.zoneOption), prefix(c.tz, true));
    EXPECT_EQ(r.status, 2) << label << r.out;
    EXPECT_EQ(r.err.rfind("veq-migrate: Asia/Tokyo: ", 0), 0u) << label << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << label << r.err;
    EXPECT_FALSE(std::filesystem::exists(path("hidden.sqlite"))) << label;
    r = tool("inspect" + stores("f", c.zoneOption), prefix(c.tz, true));
    EXPECT_EQ(r.status, 2) << label << r.out;
    EXPECT_NE(r.err.find("Asia/Tokyo"), std::string::npos) << label << r.err;
  }
}

}  // namespace
}  // namespace veq
