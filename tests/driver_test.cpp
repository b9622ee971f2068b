// Both migration drivers on every path, against a real legacy store and a
// real new database in a temporary directory.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "collaborators/old_db_manager.h"
#include "migration/driver.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

struct Report {
  std::string table;
  VEQFMDatabase* db;
  bool success;
};

std::vector<int64_t> gConverted;  // ids the fake routines saw, in call order
VEQFMDatabaseQueue* gOldQueueSeen = nullptr;
bool gStateWasReset = false;

// Copies the row's id into the new database; fails for id 2.
bool fakeSettings(const VEQDict& row, VEQFMDatabase* db) {
  if (gConverted.empty()) gStateWasReset = M::currentDateStr().empty() && M::serialNumber() == 0;
  gConverted.push_back(row.integerForKey("id"));
  db->executeUpdate("INSERT INTO copied (id) VALUES (?)", {row["id"]});
  return row.integerForKey("id") != 2;
}
bool fakeHealth(const VEQDict& row, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase*) {
  gOldQueueSeen = oldQueue;
  gConverted.push_back(-row.integerForKey("id"));
  return true;
}
bool neverCalled(const VEQDict&, VEQFMDatabase*) {
  ADD_FAILURE() << "a route other than the first with the name was used";
  return false;
}
const VEQDriverRoute kRoutes[] = {
    {"t_rows", fakeSettings}, {"t_rows", neverCalled}, {"t_health", fakeHealth}, {"t_empty", neverCalled}};

class VEQDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    old_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "legacy.db");
    new_ = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "new.db");
    ASSERT_TRUE(old_->database()->executeStatements(
        "BEGIN; CREATE TABLE t_user_device (id); INSERT INTO t_user_device VALUES (1),(2),(3);"
        "CREATE TABLE BASIC_INFOS (id); INSERT INTO BASIC_INFOS VALUES (1),(2);"
        "CREATE TABLE t_rows (id); INSERT INTO t_rows VALUES (1),(2),(3);"
        "CREATE TABLE t_health (id); INSERT INTO t_health VALUES (4),(5); CREATE TABLE t_empty (id);"
        "CREATE TABLE t_five (id); INSERT INTO t_five VALUES (1),(2),(3),(4),(5); COMMIT;"));
    ASSERT_TRUE(new_->database()->executeStatements("CREATE TABLE copied (id)"));
    gConverted.clear();
    M::setCurrentDateStr("1700000000");
    M::setSerialNumber(7);
  }
  void TearDown() override {
    VEQOldDBManager::clearCountCache(old_.get());
  }

  M::CompletionCallback recorder() {
    return [this](const std::string& table, VEQFMDatabase* db, bool ok) {
      reports_.push_back({table, db, ok});
      const VEQRowReport& r = M::lastRowReport();
      outcomes_ += std::string(veqOutcomeName(r.outcome)) + ":" + (r.row ? r.row->stringForKey("id") : "-") + " ";
    };
  }
  void run(const std::string& table, VEQFMDatabaseQueue* queue, VEQOpenFailure onOpenFailure, bool withCallback) {
    veqRunDriver({"t_user_device", false, onOpenFailure, kRoutes}, table, queue, old_.get(),
                 withCallback ? recorder() : nullptr);
  }
  // "table,db?,success" per report, db as "db" (the new one), "-" (none) or "?".
  std::string reported() {
    std::ostringstream out;
    for (const Report& r : reports_) {
      out << r.table << "," << (r.db == nullptr ? "-" : r.db == new_->database().get() ? "db" : "?") << ","
          << r.success << " ";
    }
    reports_.clear();
    return out.str();
  }

  ScratchDir dir_;
  std::shared_ptr<VEQFMDatabaseQueue> old_, new_;
  std::vector<Report> reports_;
  std::string outcomes_;  // "outcome:row id " per report
};

TEST_F(VEQDriverTest, EmptyNameAndAcknowledgedTablesReportWithoutDatabase) {
  M::jkdbDataMigrationWithTableName("", new_.get(), old_.get(), recorder());
  M::androidDataMigrationWithTableName("", new_.get(), old_.get(), recorder());
  EXPECT_EQ(reported(), ",-,1 ,-,1 ");
  EXPECT_EQ(M::currentDateStr(), "1700000000");  // run state untouched
  EXPECT_EQ(M::serialNumber(), 7);
  M::jkdbDataMigrationWithTableName("", new_.get(), old_.get(), nullptr);
  EXPECT_THROW(M::androidDataMigrationWithTableName("", new_.get(), old_.get(), nullptr), std::invalid_argument);

  M::jkdbDataMigrationWithTableName("t_user_device", new_.get(), old_.get(), recorder());
  EXPECT_TRUE(M::currentDateStr().empty() && M::serialNumber() == 0);
  M::androidDataMigrationWithTableName("BASIC_INFOS", new_.get(), old_.get(), recorder());
  EXPECT_EQ(reported(), "t_user_device,-,1 t_user_device,-,1 t_user_device,-,1 BASIC_INFOS,-,1 BASIC_INFOS,-,1 ");
  EXPECT_EQ(outcomes_, "unstated:- unstated:- kept:1 kept:2 kept:3 kept:1 kept:2 ");
  // Each driver acknowledges only its own table; neither converts it.
  M::jkdbDataMigrationWithTableName("BASIC_INFOS", new_.get(), old_.get(), recorder());
  M::androidDataMigrationWithTableName("t_user_device", new_.get(), old_.get(), recorder());
  run("t_user_device", new_.get(), VEQOpenFailure::kReportEveryRow, false);
  EXPECT_EQ(reported(), "");
  EXPECT_TRUE(gConverted.empty());
}

TEST_F(VEQDriverTest, DatabaseThatWillNotOpen) {
  auto broken = VEQFMDatabaseQueue::databaseQueueWithPath(dir_ / "missing/new.db");
  ASSERT_FALSE(broken->database()->isOpen());
  M::jkdbDataMigrationWithTableName("t_five", broken.get(), old_.get(), recorder());
  EXPECT_EQ(reported(), "t_five,?,1 t_five,?,1 t_five,?,1 t_five,?,1 t_five,?,1 ");
  EXPECT_EQ(outcomes_, "write_failed:1 write_failed:2 write_failed:3 write_failed:4 write_failed:5 ");
  EXPECT_EQ(M::lastRowReport().message, "the new database is not open");
  M::androidDataMigrationWithTableName("t_five", broken.get(), old_.get(), recorder());
  EXPECT_EQ(reported(), "");
  // Nothing is converted, even for a table with a route.
  run("t_rows", broken.get(), VEQOpenFailure::kReportEveryRow, false);
  run("t_rows", broken.get(), VEQOpenFailure::kReportNothing, true);
  EXPECT_EQ(reported(), "");
  EXPECT_TRUE(gConverted.empty());
}

TEST_F(VEQDriverTest, EveryRowIsConvertedAndReportedWithItsOwnResult) {
  run("t_rows", new_.get(), VEQOpenFailure::kReportEveryRow, true);
  EXPECT_TRUE(gStateWasReset);
  EXPECT_EQ(gConverted, (std::vector<int64_t>{1, 2, 3}));
  EXPECT_EQ(reported(), "t_rows,db,1 t_rows,db,0 t_rows,db,1 ");
  // A routine that states nothing leaves its row "unstated"; each report
  // carries the row it is about.
  EXPECT_EQ(outcomes_, "unstated:1 unstated:2 unstated:3 ");
  EXPECT_EQ(queryInt(new_->database().get(), "SELECT count(*) FROM copied"), 3);  // committed

  run("t_health", new_.get(), VEQOpenFailure::kReportEveryRow, false);
  EXPECT_EQ(gConverted, (std::vector<int64_t>{1, 2, 3, -4, -5}));
  EXPECT_EQ(gOldQueueSeen, old_.get());

  // No route (names are case-sensitive, though SQLite reads "T_ROWS" as
  // t_rows) or no rows: nothing converted or reported.
  for (const char* name : {"T_ROWS", "t_unknown", "t_empty", "t_no_such_table"}) {
    run(name, new_.get(), VEQOpenFailure::kReportEveryRow, true);
  }
  M::jkdbDataMigrationWithTableName("HEALTH_SLEEP", new_.get(), old_.get(), recorder());
  M::androidDataMigrationWithTableName("t_five", new_.get(), old_.get(), recorder());
  EXPECT_EQ(reported(), "");
  EXPECT_EQ(gConverted.size(), 5u);
}

// The dispatch tables hold only known legacy tables, in the order they are tested.
TEST(VEQDriverTables, RoutesKeepTheDispatchOrder) {
  auto expectSubsequence = [](const std::vector<std::string>& names, const std::string& order) {
    std::istringstream in(order);
    std::vector<std::string> known{std::istream_iterator<std::string>(in), {}};
    auto next = known.begin();
    for (const std::string& name : names) {
      next = std::find(next, known.end(), name);
      ASSERT_NE(next, known.end()) << name << " is unknown, repeated or out of order";
      ++next;
    }
  };
  expectSubsequence(M::jkdbMigratableTableNames(),
                    "t_smart_device t_user t_live_data t_lost_find t_screen_light t_notice t_set_alarm t_set_unit "
                    "t_long_sit t_hand_gesture t_find_phone t_musci_on t_do_not_disturb t_heart_rate_interval "
                    "t_handel_type t_heart_rate_mode t_land_scape t_sos_model t_psrm_data t_weather_switch "
                    "t_short_cut t_watch_dia t_func_table t_func_main t_func_control t_table_call t_func_notify "
                    "t_func_notify1 t_func_other t_func_sms t_func_type t_other_func_2 t_sport_type0 "
                    "t_sport_type1 t_sport_type2 t_sport_type4 t_main1 t_func_ex_table t_lang_support "
                    "t_langSupport t_lang_support1 t_ex_lang_support t_gps_data t_sport_data t_sport_item "
                    "t_sleep_head t_sleep_item t_heart_rate_data t_heart_rate_item t_active_data "
                    "t_menstruationInfo t_menstruationRemind");
  expectSubsequence(M::androidMigratableTableNames(),
                    "HEALTH_HEART_RATE HEALTH_HEART_RATE_ITEM HEALTH_SLEEP HEALTH_SLEEP_ITEM HEALTH_SPORT "
                    "HEALTH_SPORT_ITEM ADDWEIGHTDADA ACTIVITY_DATA HEALTH_BLOOD_PRESSED HEALTH_BLOOD_PRESSED_ITEM "
                    "HEALTH_GPS HEALTH_GPS_ITEM t_blood_presure t_blood_item t_and_weight_data t_active_data");
}

// A legacy table that breaks off partway (a damaged page; an I/O error
// reads the same) is not migrated in part, on the row-at-a-time path and on
// the straightforward one: the rows already converted are rolled back and the
// legacy database holds the error.
TEST_F(VEQDriverTest, ALegacyTableThatBreaksOffPartwayIsRolledBack) {
  const std::string broken = dir_ / "broken.db";
  {
    auto db = VEQFMDatabaseQueue::databaseQueueWithPath(broken);
    ASSERT_TRUE(db->database()->executeStatements(
        "PRAGMA page_size=1024; BEGIN; CREATE TABLE t_rows (id, pad);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
        " INSERT INTO t_rows SELECT i, zeroblob(100) FROM n; COMMIT;"));
  }
  // Overwrite a leaf page in the middle of the table with garbage.
  {
    std::fstream file(broken, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(1024 * 150);
    const std::string garbage(1024, '\xA5');
    file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
  }
  for (const bool straightforward : {false, true}) {
    SCOPED_TRACE(straightforward ? "straightforward" : "row at a time");
    veqUseStraightforwardPaths(straightforward);
    auto legacy = VEQFMDatabaseQueue::databaseQueueWithPath(broken);
    gConverted.clear();
    veqRunDriver({"", false, VEQOpenFailure::kReportEveryRow, kRoutes}, "t_rows", new_.get(), legacy.get(),
                 recorder());
    veqUseStraightforwardPaths(false);
    EXPECT_GT(gConverted.size(), 10u);  // rows before the damage were converted and reported
    EXPECT_LT(gConverted.size(), 2000u);
    EXPECT_EQ(legacy->database()->lastErrorCode() & 0xff, SQLITE_CORRUPT);
    EXPECT_EQ(queryInt(new_->database().get(), "SELECT COUNT(*) FROM copied"), 0);
  }
}

}  // namespace
}  // namespace veq
