// Rules shared by the health conversions: time-stamp normalisation, per-day
// serial numbers, base values and the insert-or-update step.

#include <gtest/gtest.h>

#include "collaborators/sdk_utility.h"
#include "migration/health_record.h"
#include "migration/pro_db_manager.h"

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

TEST(VEQHealthRecord, SerialNumbersRestartWhenTheDayChanges) {
  const std::string a = "1704067200", b = "1704153600";
  M::setCurrentDateStr("");
  M::setSerialNumber(0);
  EXPECT_EQ(M::nextSerialNumberForStamp(a), 1);
  EXPECT_EQ(M::nextSerialNumberForStamp(a), 2);
  EXPECT_EQ(M::nextSerialNumberForStamp(b), 1);
  EXPECT_EQ(M::nextSerialNumberForStamp(a), 1);
  M::setCurrentDateStr("");  // a driver's reset restarts even the last day
  M::setSerialNumber(0);
  EXPECT_EQ(M::nextSerialNumberForStamp(a), 1);
}

TEST(VEQHealthRecord, UpsertInsertsThenUpdatesInPlace) {
  EXPECT_EQ(M::getBaseData(), (VEQArray{1, "", "", "", "", ""}));
  VEQFMDatabase db(":memory:");
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(db.executeStatements("CREATE TABLE rec (pk INTEGER PRIMARY KEY, a, b, c, d, e, f, day, mac, v)"));
  const std::string update = "UPDATE rec SET a=?,b=?,c=?,d=?,e=?,f=?,day=?,mac=?,v=? WHERE pk=?";
  const std::string insert = "INSERT INTO rec (a,b,c,d,e,f,day,mac,v) VALUES (?,?,?,?,?,?,?,?,?)";
  auto exists = [](std::string day) { return "SELECT pk FROM rec WHERE day = '" + day + "' AND mac = 'AA'"; };
  auto dump = [&db] {
    std::string out;
    for (auto rs = db.executeQuery("SELECT * FROM rec ORDER BY pk"); rs && rs->next(); out += "\n") {
      for (int i = 0; i < rs->columnCount(); ++i) out += rs->objectForColumnIndex(i).description() + "|";
    }
    return out;
  };

  const VEQArray first = {"100", "AA", 5};
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists("100"), first, update, insert));
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists("200"), VEQArray{"200", "AA", 6}, update, insert));
  EXPECT_TRUE(veqUpsertHealthRecord(&db, exists("200"), VEQArray{"200", "AA", 7}, update, insert));
  EXPECT_EQ(dump(), "1|1||||||100|AA|5|\n2|1||||||200|AA|7|\n");
  // The statement's own result comes back.
  EXPECT_FALSE(veqUpsertHealthRecord(&db, exists("300"), first, update, "INSERT INTO nowhere VALUES (?)"));
}

}  // namespace
}  // namespace veq
