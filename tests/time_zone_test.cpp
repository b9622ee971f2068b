// The zone interface: rules derived from offsets alone, the platform's local
// time against the tz database, zones that cannot be resolved, and the date
// utilities following a zone handed to them. Expected instants are worked
// out by hand: Berlin's clocks went forward at 2024-03-31 01:00 UTC
// (1711846800) and back at 2024-10-27 01:00 UTC (1729990800).

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>

#include "collaborators/sdk_utility.h"
#include "collaborators/time_zone.h"
#include "test_support.h"

namespace veq {
namespace {

using U = VEQSDKUtility;

constexpr int64_t kSpringChange = 1711846800;
constexpr int64_t kAutumnChange = 1729990800;

// A kit's zone that knows nothing but Berlin's offsets of 2024.
class KitBerlin2024 final : public VEQTimeZone {
 public:
  int64_t offsetAt(int64_t t) const override { return t >= kSpringChange && t < kAutumnChange ? 7200 : 3600; }
  std::string name() const override { return "kit Berlin"; }
};

// A session of its own, and $TZ (the platform's local zone) put back
// afterwards.
class TimeZoneTest : public SessionTest {
 protected:
  static void setTz(const char* tz) { ScopedTz::set(tz); }

 private:
  ScopedTz savedTz_;
};

TEST_F(TimeZoneTest, RulesDerivedFromOffsetsAlone) {
  const KitBerlin2024 kit;
  // Local seconds of 2024-03-31 02:30 (skipped) and 2024-10-27 02:30 (repeated).
  const int64_t skipped = 1711852200, repeated = 1729996200;
  EXPECT_EQ(kit.instantOf(skipped), 1711848600);  // moved forward by the gap: 03:30 summer time
  EXPECT_EQ(kit.instantOf(repeated), 1729989000);  // the earlier instant
  EXPECT_EQ(kit.instantOf(repeated, 3600), 1729992600);
  EXPECT_EQ(kit.instantOf(repeated, 7200), 1729989000);
  EXPECT_EQ(kit.instantOf(skipped, 7200), 1711848600);  // no second reading to prefer
  EXPECT_EQ(kit.instantOf(1718000000), 1718000000 - 7200);

  // The spans it derives end exactly at the changes.
  EXPECT_EQ(kit.spanAt(kSpringChange - 1).end, kSpringChange);
  EXPECT_EQ(kit.spanAt(kSpringChange).begin, kSpringChange);
  EXPECT_EQ(kit.spanAt(kSpringChange).offset, 7200);
  EXPECT_EQ(kit.spanAt(kAutumnChange).offset, 3600);

  // The utilities in the kit's zone answer as in the tz database's Berlin,
  // instant by instant across both changes, with remembered spans in between.
  ASSERT_TRUE(U::setTimeZone(std::make_shared<KitBerlin2024>()));
  EXPECT_EQ(U::timeZoneName(), "kit Berlin");
  EXPECT_EQ(U::timeStampFromtimeStr("20240331023000"), "1711848600");
  EXPECT_EQ(U::timeStampFromtimeStr("20241027023000"), "1729989000");
  std::string kitDays, tzDays;
  for (int64_t t = 1704067200; t < 1735689600; t += 3 * 3600 + 17) {
    const VEQDateComponents c = U::dateComponentsWithDateStr(std::to_string(t));
    kitDays += std::to_string(c.hour) + U::get1970timeTempWithYear(c.year, c.month, c.day) + " ";
  }
  ASSERT_TRUE(U::setTimeZone("Europe/Berlin"));
  for (int64_t t = 1704067200; t < 1735689600; t += 3 * 3600 + 17) {
    const VEQDateComponents c = U::dateComponentsWithDateStr(std::to_string(t));
    tzDays += std::to_string(c.hour) + U::get1970timeTempWithYear(c.year, c.month, c.day) + " ";
  }
  EXPECT_EQ(kitDays, tzDays);
}

TEST_F(TimeZoneTest, PlatformLocalTimeAgreesWithTheTzDatabase) {
  setTz("Europe/Berlin");
  const auto local = VEQTimeZone::local();
  const auto named = VEQTimeZone::named("Europe/Berlin");
  EXPECT_EQ(local->description(), "Europe/Berlin (platform C library)");
  EXPECT_EQ(named->description(), "Europe/Berlin (tz database /usr/share/zoneinfo)");
  // Both give Berlin's offsets on either side of its changes, and the same
  // instants for a skipped, a repeated and an ordinary summer wall clock.
  for (const VEQTimeZone* zone : {local.get(), named.get()}) {
    SCOPED_TRACE(zone->description());
    EXPECT_EQ(zone->offsetAt(kSpringChange - 1), 3600);
    EXPECT_EQ(zone->offsetAt(kSpringChange), 7200);
    EXPECT_EQ(zone->offsetAt(kAutumnChange - 1), 7200);
    EXPECT_EQ(zone->offsetAt(kAutumnChange), 3600);
    EXPECT_EQ(zone->offsetAt(0), 3600);  // 1970: no summer time
    EXPECT_EQ(zone->instantOf(1711852200), 1711848600);
    EXPECT_EQ(zone->instantOf(1729996200), 1729989000);
    EXPECT_EQ(zone->instantOf(1718000000), 1718000000 - 7200);
  }
  // Instants beyond any time_t are looked up at the nearest one it holds.
  for (int64_t t : {INT64_MAX, INT64_MIN}) EXPECT_LT(std::abs(local->offsetAt(t)), 86400);

  // A POSIX rule needs no rules file.
  setTz("JST-9");
  EXPECT_EQ(VEQTimeZone::local()->offsetAt(1700000000), 32400);
  ASSERT_TRUE(U::setTimeZone(""));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 3, 15), "1710428400");
}

TEST_F(TimeZoneTest, ZonesThatCannotBeResolvedAreErrorsNeverUtc) {
  ASSERT_TRUE(U::setTimeZone("UTC"));
  EXPECT_FALSE(U::setTimeZone("Nowhere/Atlantis"));
  EXPECT_EQ(U::timeZoneName(), "UTC");  // kept
  try {
    VEQTimeZone::named("Nowhere/Atlantis");
    ADD_FAILURE() << "an unknown name resolved";
  } catch (const VEQTimeZoneError& e) {
    EXPECT_NE(std::string(e.what()).find("Nowhere/Atlantis"), std::string::npos) << e.what();
  }
#if defined(__GLIBC__)
  // glibc would use UTC for a $TZ whose rules file is missing.
  for (const char* tz : {"Nowhere/Atlantis", ":Nowhere/Atlantis", "Nowhere"}) {
    setTz(tz);
    try {
      VEQTimeZone::local();
      ADD_FAILURE() << tz << " resolved";
    } catch (const VEQTimeZoneError& e) {
      EXPECT_NE(std::string(e.what()).find(tz), std::string::npos) << e.what();
    }
  }
  EXPECT_FALSE(U::setTimeZone(""));
  EXPECT_THROW(U::timeStampFromtimeStr("20240315"), VEQTimeZoneError);
  EXPECT_THROW(U::currentYear(), VEQTimeZoneError);
#endif
}

TEST_F(TimeZoneTest, FixedOffsetsAndForgettingWhatTheLastZoneGave) {
  EXPECT_EQ(VEQTimeZone::fixed(20700)->name(), "UTC+05:45");
  EXPECT_EQ(VEQTimeZone::fixed(-12600)->name(), "UTC-03:30");
  EXPECT_EQ(VEQTimeZone::fixed(0)->description(), "UTC (fixed offset)");
  EXPECT_EQ(VEQTimeZone::named("UTC")->offsetAt(1700000000), 0);

  ASSERT_TRUE(U::setTimeZone(VEQTimeZone::fixed(20700)));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 6, 1), "1717179300");
  EXPECT_EQ(U::dateComponentsWithDateStr("1717179300"), (VEQDateComponents{2024, 6, 1, 0, 0, 0}));
  ASSERT_TRUE(U::setTimeZone(VEQTimeZone::fixed(20700)));  // an equal zone, but a new one
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 6, 1), "1717179300");
  ASSERT_TRUE(U::setTimeZone(VEQTimeZone::fixed(0)));
  EXPECT_EQ(U::get1970timeTempWithYear(2024, 6, 1), "1717200000");
  EXPECT_EQ(U::dateComponentsWithDateStr("1717179300").hour, 18);
}

}  // namespace
}  // namespace veq
