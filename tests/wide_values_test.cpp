// Values past 32 bits: stamps after 2038, record keys and counts above
// 2^31, legacy rowids above 2^32. On a 32-bit processor (where `long` and
// pointers are 32 bits) any of them truncated on its way shows here.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>

#include "ios_health_support.h"
#include "tool_test_support.h"

namespace veq {
namespace {

using WideValues = VEQIosHealthTest;

TEST_F(WideValues, StampsAfter2038AndKeysAndCountsAbove2To31RoundTrip) {
  VEQSDKUtility::setFixedNow(2240611200);  // 2041-01-01T00:00:00Z
  // Records after one of primary key 3000000000 get keys above 2^31.
  ASSERT_TRUE(target_->database()->executeStatements(
      "INSERT INTO health_sport (pk, mac_addr, day_stamp) VALUES (3000000000, 'BB:02', 0)"));
  legacy("INSERT INTO t_sport_data VALUES ('AA:01', 20400315, 0, 3000000000, 4294967301, 5000000000,"
         " 2147483648, 0, 0, 2147483647)");
  migrate("t_sport_data", 1);
  EXPECT_EQ(outcomes(), "inserted ");

  const auto sport = [&] {
    auto rs = target_->database()->executeQuery(
        "SELECT pk, day_stamp, year, total_steps, total_calories, total_distance, total_active_time, step_goal"
        " FROM health_sport WHERE mac_addr = 'AA:01'");
    std::vector<std::string> values;
    while (rs && rs->next())
      for (int i = 0; i < rs->columnCount(); ++i) values.push_back(rs->objectForColumnIndex(i).description());
    return values;
  };
  // 2040-03-15T00:00:00Z is 2215382400.
  EXPECT_EQ(sport(), (std::vector<std::string>{"3000000001", "2215382400", "2040", "3000000000", "4294967301",
                                               "5000000000", "2147483648", "2147483647"}));

  // The second run finds the record by its wide key and updates it in place.
  legacy("UPDATE t_sport_data SET total_step = 3000000007");
  migrate("t_sport_data", 1);
  EXPECT_EQ(outcomes(), "updated ");
  EXPECT_EQ(sport().at(0), "3000000001");
  EXPECT_EQ(sport().at(3), "3000000007");
  EXPECT_EQ(records("health_sport").size(), 2u);
}

using WideRowids = ToolTest;

// The tool names a rejected row by its rowid, whatever its width.
TEST_F(WideRowids, RejectsNameRowidsAbove2To32) {
  fixtures("fx", "--days 2 --devices 1");
  const std::string ios = (path("fx") / "ios.sqlite").string();
  {
    VEQFMDatabase db(ios);
    ASSERT_TRUE(db.open());
    ASSERT_TRUE(db.executeStatements(
        "INSERT INTO t_sport_item (rowid, smart_device_id, date) VALUES (5000000000, '', 20240315)"));
  }
  ToolResult r = tool("run --ios " + ios + " --out " + path("new.sqlite").string() + " --time-zone UTC --rejects " +
                      path("rejects.jsonl").string());
  ASSERT_EQ(r.status, 0) << r.err;
  std::istringstream lines(slurp(path("rejects.jsonl")));
  int found = 0;
  for (std::string line; std::getline(lines, line);) {
    const nlohmann::json reject = nlohmann::json::parse(line);
    if (reject["table"] == "t_sport_item" && reject["rowid"] == int64_t{5000000000}) ++found;
  }
  EXPECT_EQ(found, 1);
}

}  // namespace
}  // namespace veq
