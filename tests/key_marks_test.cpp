// Key marks: a look-up answered "no record" from a mark must never hide a
// record the index probe would find, whatever wrote to the table, and in
// plain runs the marks must actually answer.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "collaborators/fmdb.h"
#include "collaborators/key_marks.h"
#include "collaborators/sync_sql_manager.h"
#include "test_support.h"

namespace veq {
namespace {

constexpr auto kItems = VEQHealthTable::kSportItem;  // key: mac_addr, day_stamp, serial_number

std::shared_ptr<VEQFMDatabase> newDatabase(const std::string& path) {
  auto db = VEQFMDatabase::databaseWithPath(path);
  EXPECT_TRUE(db->open());
  EXPECT_TRUE(db->executeStatements(VEQSyncSqlManager::healthSchemaSql()));
  return db;
}

bool insertItem(VEQFMDatabase* db, const VEQValue& mac, const VEQValue& stamp, const VEQValue& serial) {
  return db->executeUpdate("INSERT INTO health_sport_item (mac_addr, day_stamp, serial_number) VALUES (?, ?, ?)",
                           {mac, stamp, serial});
}

// Inserts the item and reports its keys, as the health upsert does.
void writeItem(VEQFMDatabase* db, const VEQValue& mac, const VEQValue& stamp, const VEQValue& serial) {
  ASSERT_TRUE(insertItem(db, mac, stamp, serial));
  const VEQValue* keys[] = {&mac, &stamp, &serial};
  veqNoteRecordKeys(db, kItems, keys, VEQRecordWrite::kInsert);
}

bool answered(VEQFMDatabase* db, std::string_view mac, std::string_view stamp, int64_t serial) {
  const VEQSqlParam keys[] = {VEQSqlParam::text(mac), VEQSqlParam::text(stamp), VEQSqlParam::integer(serial)};
  return veqKnownRecord(db, kItems, keys) == VEQKnownRecord::kAbsent;
}

// The probe: the pk of the first record with these keys, -1 when none.
int64_t probe(VEQFMDatabase* db, std::string_view mac, std::string_view stamp, int64_t serial) {
  int64_t pk = -1;
  const VEQSqlParam keys[] = {VEQSqlParam::text(mac), VEQSqlParam::text(stamp), VEQSqlParam::integer(serial)};
  const bool found = db->queryFirstInteger(
      "SELECT pk FROM health_sport_item WHERE mac_addr = ? AND day_stamp = ? AND serial_number = ?", keys, &pk);
  return found ? pk : -1;
}

bool stored(VEQFMDatabase* db, std::string_view mac, std::string_view stamp, int64_t serial) {
  return probe(db, mac, stamp, serial) >= 0;
}

TEST(KeyMarksTest, AnswerKeysAboveEachDevicesHighestAndProbeTheRest) {
  ScratchDir dir;
  auto db = newDatabase(dir / "new.sqlite");
  ASSERT_TRUE(insertItem(db.get(), "AA", 100, 5));  // written before the run, by anyone
  ASSERT_TRUE(db->beginTransaction());

  EXPECT_TRUE(answered(db.get(), "AA", "100", 6));
  EXPECT_TRUE(answered(db.get(), "AA", "101", 0));
  EXPECT_FALSE(answered(db.get(), "AA", "100", 5));
  EXPECT_FALSE(answered(db.get(), "AA", "99", 9));
  EXPECT_TRUE(answered(db.get(), "AB", "1", 1));  // another device, no records yet
  EXPECT_FALSE(answered(db.get(), "AA", "0101", 0)) << "a stamp SQLite might read otherwise";

  writeItem(db.get(), "AA", 200, 1);  // reported: the mark rises
  EXPECT_FALSE(answered(db.get(), "AA", "200", 1));
  EXPECT_TRUE(answered(db.get(), "AA", "200", 2));
  writeItem(db.get(), "AB", "7", 1);  // a text stamp stored as the integer 7
  EXPECT_FALSE(answered(db.get(), "AB", "7", 1));
  EXPECT_TRUE(answered(db.get(), "AB", "8", 1));

  ASSERT_TRUE(insertItem(db.get(), "AA", 300, 1));  // not reported
  EXPECT_FALSE(answered(db.get(), "AA", "300", 1));
  EXPECT_TRUE(answered(db.get(), "AA", "300", 2));

  writeItem(db.get(), "AB", "x9", 1);  // a text on top of the device: probe it from now on
  EXPECT_FALSE(answered(db.get(), "AB", "900", 1));
  ASSERT_TRUE(db->commit());
  EXPECT_FALSE(answered(db.get(), "AA", "900", 1)) << "outside a transaction";
}

// Between transactions another connection may write; a rollback to a
// savepoint can bring back keys an update had lowered.
TEST(KeyMarksTest, ForgetWhatMayHaveChangedBehindThem) {
  ScratchDir dir;
  auto db = newDatabase(dir / "new.sqlite");
  ASSERT_TRUE(db->beginTransaction());
  EXPECT_TRUE(answered(db.get(), "AA", "10", 1));  // learnt: no records
  ASSERT_TRUE(db->commit());

  auto other = VEQFMDatabase::databaseWithPath(dir / "new.sqlite");
  ASSERT_TRUE(other->open());
  ASSERT_TRUE(insertItem(other.get(), "AA", 10, 1));

  ASSERT_TRUE(db->beginTransaction());
  EXPECT_FALSE(answered(db.get(), "AA", "10", 1));
  EXPECT_TRUE(stored(db.get(), "AA", "10", 1));

  writeItem(db.get(), "AA", 500, 1);
  ASSERT_TRUE(db->executeUpdate("SAVEPOINT s"));
  ASSERT_TRUE(db->executeUpdate("UPDATE health_sport_item SET day_stamp = 100"));
  EXPECT_TRUE(answered(db.get(), "AA", "300", 1));  // learnt again: (100, 1) on top
  ASSERT_TRUE(db->executeUpdate("ROLLBACK TO s"));
  EXPECT_FALSE(answered(db.get(), "AA", "500", 1));
  EXPECT_TRUE(stored(db.get(), "AA", "500", 1));
  ASSERT_TRUE(db->rollback());
}

// Random writes (reported or not, in and out of key order, with odd values,
// duplicate keys, updates that move keys), savepoints rolled back and
// transactions ended: every answer the marks give is checked against the
// probe, and in-order writes and repeated look-ups must be answered.
TEST(KeyMarksTest, NeverHideARecordTheProbeFinds) {
  ScratchDir dir;
  auto db = newDatabase(dir / "new.sqlite");
  std::mt19937 rng(7);
  auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  const std::string macs[] = {"AA", "AB", std::string("A\0B", 3), "ab"};
  int64_t answeredCount = 0, foundCount = 0;
  ASSERT_TRUE(db->beginTransaction());
  std::string mac = "AA";
  int64_t stamp = 0, serial = 0, lastFound = -1;
  for (int step = 0; step < 4000; ++step) {
    if (pick(3) > 0) {  // else the keys of the step before, as rows of one track ask
      mac = macs[pick(4)];
      stamp = step / 4 + pick(3) - 1;
      serial = pick(5);
    }
    const std::string stampText = std::to_string(stamp);
    switch (pick(12)) {
      case 0:
        ASSERT_TRUE(insertItem(db.get(), VEQValue(mac), stamp, serial));
        break;
      case 1:
        writeItem(db.get(), VEQValue(mac), pick(2) ? VEQValue(stamp + 0.5) : VEQValue(" 5"), serial);
        break;
      case 2:
        ASSERT_TRUE(db->executeUpdate("SAVEPOINT s"));
        writeItem(db.get(), VEQValue(mac), stamp, serial);
        ASSERT_TRUE(db->executeUpdate("ROLLBACK TO s"));
        ASSERT_TRUE(db->executeUpdate("RELEASE s"));
        break;
      case 3:
        if (pick(4) == 0) {
          ASSERT_TRUE(db->commit());
          ASSERT_TRUE(db->beginTransaction());
        }
        break;
      case 4: {  // an update by primary key that moves a record's keys, often the one found last
        const VEQValue newMac(mac), newStamp(stamp + pick(2)), newSerial(serial);
        const int64_t pk = lastFound > 0 && pick(2) ? lastFound : 1 + pick(step + 1);
        ASSERT_TRUE(db->executeUpdate(
            "UPDATE health_sport_item SET mac_addr = ?, day_stamp = ?, serial_number = ? WHERE pk = ?",
            {newMac, newStamp, newSerial, static_cast<long long>(pk)}));
        const VEQValue* keys[] = {&newMac, &newStamp, &newSerial};
        veqNoteRecordKeys(db.get(), kItems, keys, VEQRecordWrite::kUpdate);
        break;
      }
      case 5:  // a second record with keys that may already be there
        writeItem(db.get(), VEQValue(mac), stamp, serial);
        break;
      default: {
        const VEQSqlParam keys[] = {VEQSqlParam::text(mac), VEQSqlParam::text(stampText),
                                    VEQSqlParam::integer(serial)};
        int64_t pk = 0;
        const VEQKnownRecord known = veqKnownRecord(db.get(), kItems, keys, &pk);
        const int64_t probed = probe(db.get(), mac, stampText, serial);
        const std::string where = mac + " " + stampText + " " + std::to_string(serial);
        if (known == VEQKnownRecord::kAbsent) {
          ++answeredCount;
          ASSERT_EQ(probed, -1) << where;
        }
        if (known == VEQKnownRecord::kFound) {
          ++foundCount;
          ASSERT_EQ(pk, probed) << where;
        }
        if (probed >= 0) veqNoteRecordFound(db.get(), kItems, keys, lastFound = probed);
        if (probed < 0) writeItem(db.get(), VEQValue(mac), stamp, serial);
      }
    }
  }
  ASSERT_TRUE(db->commit());
  EXPECT_GT(answeredCount, 100);
  EXPECT_GT(foundCount, 100);
}

}  // namespace
}  // namespace veq
