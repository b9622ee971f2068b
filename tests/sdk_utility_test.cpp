#include <gtest/gtest.h>

#include <chrono>
#include <climits>

#include "collaborators/sdk_utility.h"
#include "test_support.h"

namespace veq {
namespace {

using U = VEQSDKUtility;

// Every test runs in a session of its own, starting in UTC.
class SDKUtility : public SessionTest {
 protected:
  void SetUp() override { ASSERT_TRUE(U::setTimeZone("UTC")); }
  static VEQDateComponents at(const std::string& stamp) { return U::dateComponentsWithDateStr(stamp); }
};

TEST_F(SDKUtility, LegacyFormsInUtc) {
  const std::pair<const char*, const char*> cases[] = {
      {"20240315", "1710460800"}, {"20240315123456", "1710506096"}, {"2024-03-15 12:34:56", "1710506096"},
      {"2024-03-15", "1710460800"},
      // Out-of-range fields roll over: month 13, day 0, hour 24.
      {"20241301", "1735689600"}, {"20240300", "1709164800"}, {"20240314240000", "1710460800"},
      // Other digit texts are time stamps already; everything else is 0.
      {"1710506096000", "1710506096000"}, {"0001", "1"}, {"-5", "-5"}, {"", "0"}, {"2024-3-15", "0"},
      {" 20240315", "0"}, {"12a", "0"}, {"-", "0"}};
  for (const auto& [text, stamp] : cases) EXPECT_EQ(U::timeStampFromtimeStr(text), stamp) << text;

  EXPECT_EQ(U::get1970timeTempWithDateStr("1710506096999"), "1710506096");  // milliseconds
  EXPECT_EQ(U::get1970timeTempWithDateStr("-1710506096999"), "-1710506096");
  EXPECT_EQ(U::get1970timeTempWithDateStr("20240315123456"), "1710506096");
  EXPECT_EQ(U::get1970timeTempWithDateStr("x"), "0");
}

TEST_F(SDKUtility, CivilDatesRoundTripInEveryZone) {
  const int64_t days[][3] = {{1970, 1, 1},  {2000, 2, 29},  {2024, 3, 31}, {2024, 10, 27},
                             {1899, 12, 31}, {2567, 6, 15}, {3019, 12, 31}, {1119, 1, 1}};
  for (const char* zone : {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata",
                           "Australia/Lord_Howe", "Pacific/Kiritimati", "America/Havana"}) {
    ASSERT_TRUE(U::setTimeZone(zone));
    for (const auto& d : days) {
      const VEQDateComponents midnight{d[0], d[1], d[2], 0, 0, 0};
      EXPECT_EQ(at(U::get1970timeTempWithYear(d[0], d[1], d[2])), midnight) << zone << " " << d[0];
      char text[32];
      std::snprintf(text, sizeof text, "%04ld%02ld%02ld123456", static_cast<long>(d[0]),
                    static_cast<long>(d[1]), static_cast<long>(d[2]));
      const VEQDateComponents noon{d[0], d[1], d[2], 12, 34, 56};
      EXPECT_EQ(at(U::timeStampFromtimeStr(text)), noon) << zone << " " << text;
    }
  }
  ASSERT_TRUE(U::setTimeZone("Europe/Berlin"));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 1, 15), "1705273200");  // 23:00 UTC the day before
}

// (Gaps and repeats inside the day are checked with Berlin's changes in the
// zone tests.)
TEST_F(SDKUtility, DaylightSavingGapsAndRepeats) {
  // In Havana the clocks skip midnight in March and repeat its hour in November.
  ASSERT_TRUE(U::setTimeZone("America/Havana"));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 3, 10), "1710046800");
  EXPECT_EQ(at("1710046800"), (VEQDateComponents{2024, 3, 10, 1, 0, 0}));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 11, 3), "1730606400");
}

TEST_F(SDKUtility, ComponentsOfAnyText) {
  EXPECT_EQ(at("  42abc"), (VEQDateComponents{1970, 1, 1, 0, 0, 42}));
  EXPECT_EQ(at("-1"), (VEQDateComponents{1969, 12, 31, 23, 59, 59}));
  ASSERT_TRUE(U::setTimeZone("America/New_York"));
  EXPECT_EQ(at("abc"), (VEQDateComponents{1969, 12, 31, 19, 0, 0}));
  // Saturated stamps and absurd fields stay well-defined.
  EXPECT_GT(at("99999999999999999999").year, 100000000);
  EXPECT_LT(at("-99999999999999999999").year, -100000000);
  EXPECT_FALSE(U::get1970timeTempWithYear(INT64_MAX, INT64_MIN, INT64_MAX).empty());
}

TEST_F(SDKUtility, ZoneAndClockAreChosenAndFollowed) {
  EXPECT_TRUE(U::setTimeZone(""));
  EXPECT_FALSE(U::timeZoneName().empty());

  // The same inputs, converted again after the zone changed, give the new
  // zone's answers.
  const auto convertAll = [] {
    return U::timeStampFromtimeStr("20240315") + " " + U::get1970timeTempWithDateStr("2024-03-15") + " " +
           U::get1970timeTempWithYear(2024, 3, 15) + " " + std::to_string(at("1710460800").hour);
  };
  ASSERT_TRUE(U::setTimeZone("UTC"));
  EXPECT_EQ(convertAll(), "1710460800 1710460800 1710460800 0");
  ASSERT_TRUE(U::setTimeZone("Asia/Tokyo"));
  EXPECT_EQ(convertAll(), "1710428400 1710428400 1710428400 9");
  ASSERT_TRUE(U::setTimeZone("UTC"));
  EXPECT_EQ(convertAll(), "1710460800 1710460800 1710460800 0");

  // The current year follows the zone and a moved clock.
  U::setFixedNow(1735689599);  // 2024-12-31 23:59:59 UTC
  EXPECT_EQ(U::currentYear(), 2024);
  ASSERT_TRUE(U::setTimeZone("Europe/Berlin"));
  EXPECT_EQ(U::currentYear(), 2025);
  ASSERT_TRUE(U::setTimeZone("UTC"));
  U::setFixedNow(1735689600);
  EXPECT_EQ(U::currentYear(), 2025);
  U::setFixedNow(std::nullopt);
  const auto clock = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_LE(std::abs(U::now() - clock), 5);
}

std::string bits(int64_t n) {
  std::string s;
  for (const VEQValue& v : U::getBinaryByDecimal(n)) {
    EXPECT_EQ(v.kind(), VEQValue::Kind::Integer);
    s += v.description();
  }
  return s;
}

TEST(SDKUtilityBits, MostSignificantFirstPaddedToEight) {
  EXPECT_EQ(bits(5), "00000101");
  EXPECT_EQ(bits(256), "100000000");
  EXPECT_EQ(bits(INT64_MAX), std::string(63, '1'));
  EXPECT_EQ(bits(-2), std::string(31, '1') + "0");
}

}  // namespace
}  // namespace veq
