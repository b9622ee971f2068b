// Rules shared by the health conversions: time-stamp normalisation, base
// values, filling a record by column name and the insert-or-update step.
// (The per-day serial numbers are checked through the item conversions.)

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "collaborators/sdk_utility.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

using VEQHealthRecordTest = SessionTest;

TEST_F(VEQHealthRecordTest, TimeStampsAreSecondsWithCorrectedYears) {
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  VEQSDKUtility::setFixedNow(1717243200);  // 2024-06-01T12:00:00Z

  VEQDateComponents c;
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("1700000000", &c), "1700000000");
  EXPECT_EQ(c, (VEQDateComponents{2023, 11, 14, 22, 13, 20}));
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("1700000000999", nullptr), "1700000000");
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("0001700000000", nullptr), "1700000");  // 13 characters

  // YYYY-05-06 07:08:09 UTC in the legacy year and in the migrated one
  // (years from 3001 lose 1900; more than 500 years ahead of 2024 loses 543,
  // after the first rule); the components are those of the result.
  struct Year {
    const char* legacy;
    const char* migrated;
    int64_t year;
  };
  for (const Year& y : {Year{"33114035289", "-26844195111", 1119}, Year{"18850345689", "1714979289", 2024},
                        Year{"17493433689", "17493433689", 2524}, Year{"17524969689", "389516889", 1982},
                        Year{"78808576089", "1714979289", 2024}}) {
    EXPECT_EQ(M::newTimeStampWithOldTimeStr(y.legacy, &c), y.migrated) << y.legacy;
    EXPECT_EQ(c, (VEQDateComponents{y.year, 5, 6, 7, 8, 9})) << y.legacy;
  }
}

// Instants worked out by hand from the zones' rules: New York went back from
// EDT to EST at 2024-11-03 06:00 UTC (01:30 is 1730611800 EDT, 1730615400
// EST) and on 2025-11-02 (01:30 EDT is 1762061400); Berlin skipped
// 2024-03-31 02:00-03:00 (03:30 is 1711848600); Kathmandu is +05:45 (2024-06-01
// 10:15 is 1717216200); Lord Howe went back half an hour at 2024-04-07 02:00
// (01:45 is 1712414700 at +11, 1712416500 at +10:30). The legacy stamps of
// the same wall-clock times 543 years later (Buddhist era), with each zone's
// present rule continued: 2567-11-03 01:30 New York (EST that year)
// 18865981800, 2568-11-02 01:30 (EDT) 18897514200, 2567-03-31 02:30 Berlin
// (summer time) 18847211400, 2567-06-01 10:15 Kathmandu 18852582600. The
// zones are the platform's local time ($TZ), whose C library continues the
// rules past 2037.
TEST_F(VEQHealthRecordTest, StampsKeepTheirInstantAndCorrectedOnesTheirWallClockInEveryZone) {
  const ScopedTz savedTz;
  const auto setZone = [](const char* name) {
    ScopedTz::set(name);
    return VEQSDKUtility::setTimeZone("");
  };
  VEQSDKUtility::setFixedNow(1717243200);  // 2024
  VEQDateComponents c;
  struct Case {
    const char* zone;
    const char* legacy;
    const char* migrated;
    VEQDateComponents wallClock;
  };
  for (const Case& k : {Case{"America/New_York", "1730611800", "1730611800", {2024, 11, 3, 1, 30, 0}},
                        Case{"America/New_York", "1730615400000", "1730615400", {2024, 11, 3, 1, 30, 0}},
                        Case{"Australia/Lord_Howe", "1712414700", "1712414700", {2024, 4, 7, 1, 45, 0}},
                        Case{"Australia/Lord_Howe", "1712416500", "1712416500", {2024, 4, 7, 1, 45, 0}},
                        Case{"America/New_York", "18865981800", "1730615400", {2024, 11, 3, 1, 30, 0}},
                        Case{"America/New_York", "18897514200", "1762061400", {2025, 11, 2, 1, 30, 0}},
                        Case{"Europe/Berlin", "18847211400", "1711848600", {2024, 3, 31, 3, 30, 0}},
                        Case{"Asia/Kathmandu", "18852582600", "1717216200", {2024, 6, 1, 10, 15, 0}}}) {
    ASSERT_TRUE(setZone(k.zone));
    EXPECT_EQ(M::newTimeStampWithOldTimeStr(k.legacy, &c), k.migrated) << k.zone << " " << k.legacy;
    EXPECT_EQ(c, k.wallClock) << k.zone << " " << k.legacy;
  }

  // The instants on both sides of those changes come back unchanged in every
  // zone through the tz database too.
  for (const char* name : {"America/New_York", "Europe/Berlin", "Asia/Kathmandu", "Australia/Lord_Howe"}) {
    ASSERT_TRUE(VEQSDKUtility::setTimeZone(name));
    for (const char* t : {"1711846800", "1711848600", "1712414700", "1712416500", "1730611800", "1730615400"}) {
      EXPECT_EQ(M::newTimeStampWithOldTimeStr(t, nullptr), t) << name;
    }
  }
}

TEST_F(VEQHealthRecordTest, DescriptionMistakesFailLoudly) {
  using T = VEQHealthTable;
  EXPECT_EQ(M::getBaseData(), (VEQArray{1, "", "", "", "", ""}));
  EXPECT_THROW(VEQHealthRecord(T::kSportItem).set("serial", 1), std::logic_error);  // no such column
  EXPECT_THROW(VEQHealthRecord(T::kSportItem).set("steps", 1).set("steps", 2), std::logic_error);
  // A column given early is still caught when the ones before it catch up.
  EXPECT_THROW(VEQHealthRecord(T::kSportItem, {{"day_stamp", "1"}, {"mac_addr", "AA"}, {"serial_number", 1}})
                   .set("day_stamp", "2"),
               std::logic_error);
  EXPECT_THROW(VEQHealthRecord(T::kSportItem, {{"mac_addr", "AA"}}).takeArguments(), std::logic_error);
  EXPECT_THROW(VEQHealthRecord(T::kSport, VEQRecordLayout::kShort), std::logic_error);  // one layout only
  EXPECT_THROW(VEQHealthRecord(T::kGpsPoint, VEQRecordLayout::kShort).set("day_stamp", 1), std::logic_error);

  // Given out of order, values still land in table order after the base values;
  // the short GPS point layout leaves its day stamp out.
  VEQHealthRecord point(T::kGpsPoint, {{"serial_number", 4}, {"latitude", "31.2"}, {"longitude", "121.4"},
                                       {"start_stamp", "1700000000"}, {"mac_addr", "AA"}},
                        VEQRecordLayout::kShort);
  EXPECT_EQ(point.takeArguments(), (VEQArray{1, "", "", "", "", "", "AA", "1700000000", "121.4", "31.2", 4}));
}

TEST_F(VEQHealthRecordTest, UpsertInsertsUpdatesKeepsAndStatesTheOutcome) {
  VEQFMDatabase db(":memory:");
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements(VEQSyncSqlManager::healthSchemaSql()));
  auto item = [](int64_t steps) {
    return VEQHealthRecord(VEQHealthTable::kSportItem,
                           {{"mac_addr", "AA"}, {"serial_number", 1}, {"day_stamp", "100"}, {"distance", 0},
                            {"calories", 0}, {"active_time", 0}, {"steps", steps}, {"sport_mode", 1}});
  };
  const std::string exists = VEQSyncSqlManager::querySportItemExistSqlStr("100", 1, "AA");
  auto outcome = [] { return veqRowReport().outcome; };

  veqBeginRow(nullptr);
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists, item(5)));
  EXPECT_EQ(outcome(), VEQRowOutcome::kInserted);
  veqBeginRow(nullptr);
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists, item(7)));
  EXPECT_EQ(outcome(), VEQRowOutcome::kUpdated);
  veqBeginRow(nullptr);
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists, item(9), VEQHealthWrite::kInsertOnce));
  EXPECT_EQ(outcome(), VEQRowOutcome::kKept);
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM health_sport_item"), 1);
  EXPECT_EQ(queryInt(&db, "SELECT steps FROM health_sport_item"), 7);
  EXPECT_EQ(queryInt(&db, "SELECT migration_state FROM health_sport_item"), 1);

  // A failed write is stated with SQLite's message, and the first failure of
  // a row stands when a later write of the same row succeeds.
  ASSERT_TRUE(db.executeStatements("CREATE TRIGGER no_more BEFORE UPDATE ON health_sport_item "
                                   "BEGIN SELECT RAISE(ABORT, 'item is frozen'); END"));
  veqBeginRow(nullptr);
  EXPECT_FALSE(veqUpsertHealthRecord(&db, exists, item(11)));
  EXPECT_TRUE(veqUpsertHealthRecord(&db, VEQSyncSqlManager::querySportItemExistSqlStr("200", 1, "AA"), item(1)));
  EXPECT_EQ(outcome(), VEQRowOutcome::kWriteFailed);
  EXPECT_EQ(veqRowReport().message, "item is frozen");
}

}  // namespace
}  // namespace veq
