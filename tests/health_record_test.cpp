// Rules shared by the health conversions: time-stamp normalisation, base
// values, filling a record by column name and the insert-or-update step.
// (The per-day serial numbers are checked through the item conversions.)

#include <gtest/gtest.h>

#include <stdexcept>

#include "collaborators/sdk_utility.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

TEST(VEQHealthRecord, TimeStampsAreSecondsWithCorrectedYears) {
  const std::string zone = VEQSDKUtility::timeZoneName();
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  VEQSDKUtility::setFixedNow(1717243200);  // 2024-06-01T12:00:00Z

  VEQDateComponents c;
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("1700000000", &c), "1700000000");
  EXPECT_EQ(c, (VEQDateComponents{2023, 11, 14, 22, 13, 20}));
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("1700000000999", nullptr), "1700000000");
  EXPECT_EQ(M::newTimeStampWithOldTimeStr("0001700000000", nullptr), "1700000");  // 13 characters

  // {legacy year, migrated year} of 05-06 07:08:09; the components are those of the result.
  auto stamp = [](const char* year) { return VEQSDKUtility::timeStampFromtimeStr(std::string(year) + "0506070809"); };
  for (auto [from, to] : {std::pair{"3019", "1119"}, {"2567", "2024"}, {"2524", "2524"}, {"2525", "1982"},
                          {"4467", "2024"}}) {
    EXPECT_EQ(M::newTimeStampWithOldTimeStr(stamp(from), &c), stamp(to));
    EXPECT_EQ(c, (VEQDateComponents{std::stoll(to), 5, 6, 7, 8, 9})) << from;
  }
  VEQSDKUtility::setFixedNow(std::nullopt);
  VEQSDKUtility::setTimeZone(zone);
}

TEST(VEQHealthRecord, DescriptionMistakesFailLoudly) {
  using T = VEQHealthTable;
  EXPECT_EQ(M::getBaseData(), (VEQArray{1, "", "", "", "", ""}));
  EXPECT_THROW(VEQHealthRecord(T::kSportItem).set("serial", 1), std::logic_error);  // no such column
  EXPECT_THROW(VEQHealthRecord(T::kSportItem).set("steps", 1).set("steps", 2), std::logic_error);
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

TEST(VEQHealthRecord, UpsertInsertsUpdatesKeepsAndStatesTheOutcome) {
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
