// Both migration drivers on every path, against a real legacy store and a
// real new database in a temporary directory.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "fixtures/fixtures.h"
#include "collaborators/old_db_manager.h"
#include "collaborators/schema_installer.h"
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

class VEQDriverTest : public SessionTest {
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

// Every legacy table goes to its own routine. The expected routes are the
// legacy stores' dispatch lists, written out here; each table's generated
// rows are migrated through the public driver and, separately, through the
// expected routine called by hand, and the two new databases must hold the
// same records (and some records, so a missing route cannot pass).
struct ExpectedRoute {
  const char* table;
  M::SettingsRoutine settings = nullptr;
  M::HealthRoutine health = nullptr;
  ExpectedRoute(const char* t, M::SettingsRoutine r) : table(t), settings(r) {}
  ExpectedRoute(const char* t, M::HealthRoutine r) : table(t), health(r) {}
};

const ExpectedRoute kJkdbRoutes[] = {
    {"t_smart_device", M::deviceInfoDataMigrationWithDic}, {"t_user", M::userInfoDataMigrationWithDic},
    {"t_live_data", M::liveDataMigrationWithDic}, {"t_lost_find", M::lostFindDataMigrationWithDic},
    {"t_screen_light", M::screenLightDataMigrationWithDic}, {"t_notice", M::noticeDataMigrationWithDic},
    {"t_set_alarm", M::alarmDataMigrationWithDic}, {"t_set_unit", M::unitDataMigrationWithDic},
    {"t_long_sit", M::longSitDataMigrationWithDic}, {"t_hand_gesture", M::handGestureDataMigrationWithDic},
    {"t_find_phone", M::findPhoneDataMigrationWithDic}, {"t_musci_on", M::openMusicDataMigrationWithDic},
    {"t_do_not_disturb", M::doNotDisturbDataMigrationWithDic},
    {"t_heart_rate_interval", M::hrIntervalDataMigrationWithDic},
    {"t_handel_type", M::leftOrRightDataMigrationWithDic}, {"t_heart_rate_mode", M::hrModelDataMigrationWithDic},
    {"t_land_scape", M::dispalyModeDataMigrationWithDic}, {"t_sos_model", M::oneKeySOSDataMigrationWithDic},
    {"t_psrm_data", M::sportShortcutDataMigrationWithDic}, {"t_weather_switch", M::weatherSwitchDataMigrationWithDic},
    {"t_short_cut", M::shortcurtDataMigrationWithDic}, {"t_watch_dia", M::watchDialDataMigrationWithDic},
    {"t_func_table", M::funcTableDataMigrationWithDic}, {"t_func_main", M::mainFuncTableDataMigrationWithDic},
    {"t_func_control", M::controlFuncTableDataMigrationWithDic},
    {"t_table_call", M::callFuncTableDataMigrationWithDic}, {"t_func_notify", M::noiftyFuncTableDataMigrationWithDic},
    {"t_func_notify1", M::noifty1FuncTableDataMigrationWithDic},
    {"t_func_other", M::otherFuncTableDataMigrationWithDic}, {"t_func_sms", M::smsFuncTableDataMigrationWithDic},
    {"t_func_type", M::alarmFuncTableDataMigrationWithDic},
    {"t_other_func_2", M::other2FuncTableDataMigrationWithDic},
    {"t_sport_type0", M::type0FuncTableDataMigrationWithDic},
    {"t_sport_type1", M::type1FuncTableDataMigrationWithDic},
    {"t_sport_type2", M::type2FuncTableDataMigrationWithDic},
    {"t_sport_type4", M::type3FuncTableDataMigrationWithDic}, {"t_main1", M::main1FuncTableDataMigrationWithDic},
    {"t_func_ex_table", M::exFuncTableDataMigrationWithDic}, {"t_lang_support", M::langFuncTableDataMigrationWithDic},
    {"t_langSupport", M::langFuncTableDataMigrationWithDic},
    {"t_lang_support1", M::lang1FuncTableDataMigrationWithDic},
    {"t_ex_lang_support", M::lang1FuncTableDataMigrationWithDic}, {"t_gps_data", M::jkdbGpsDataMigrationWithDic},
    {"t_sport_data", M::jkdbSportDataMigrationWithDic}, {"t_sport_item", M::jkdbSportDataItemMigrationWithDic},
    {"t_sleep_head", M::jkdbSleepDataMigrationWithDic}, {"t_sleep_item", M::jkdbSleepItemDataMigrationWithDic},
    {"t_heart_rate_data", M::jkdbHrDataMigrationWithDic}, {"t_heart_rate_item", M::jkdbHrItemDataMigrationWithDic},
    {"t_active_data", M::jkdbActivityDataMigrationWithDic},
    {"t_menstruationInfo", M::menstruationDataMigrationWithDic},
    {"t_menstruationRemind", M::menstruationRemindDataMigrationWithDic},
};
const ExpectedRoute kHealthRoutes[] = {
    {"HEALTH_HEART_RATE", M::androidHrDataMigrationWithDic},
    {"HEALTH_HEART_RATE_ITEM", M::androidHrItemDataMigrationWithDic},
    {"HEALTH_SLEEP", M::androidSleepDataMigrationWithDic},
    {"HEALTH_SLEEP_ITEM", M::androidSleepItemDataMigrationWithDic},
    {"HEALTH_SPORT", M::androidSportDataMigrationWithDic},
    {"HEALTH_SPORT_ITEM", M::androidSportItemDataMigrationWithDic},
    {"ADDWEIGHTDADA", M::androidWeightDataMigrationWithDic}, {"ACTIVITY_DATA", M::androidActiveDataMigrationWithDic},
    {"HEALTH_BLOOD_PRESSED", M::androidBpDataMigrationWithDic},
    {"HEALTH_BLOOD_PRESSED_ITEM", M::androidBpItemDataMigrationWithDic},
    {"HEALTH_GPS", M::androidGpsDataMigrationWithDic}, {"HEALTH_GPS_ITEM", M::androidGpsItemDataMigrationWithDic},
    {"t_blood_presure", M::iosBpDataMigrationWithDic}, {"t_blood_item", M::iosBpItemDataMigrationWithDic},
    {"t_and_weight_data", M::iosWeightDataMigrationWithDic}, {"t_active_data", M::iosActiveDataMigrationWithDic},
};

// Every record of every new table, as text.
std::string newRecords(VEQFMDatabaseQueue* queue) {
  std::string out;
  for (const std::string& table : veqNewTableNames()) {
    auto rs = queue->database()->executeQuery("SELECT * FROM " + table + " ORDER BY rowid");
    while (rs && rs->next()) {
      out += table + ":";
      for (int i = 0; i < rs->columnCount(); ++i) out += " " + rs->objectForColumnIndex(i).description();
      out += "\n";
    }
  }
  return out;
}

using VEQDriverRoutes = SessionTest;

TEST_F(VEQDriverRoutes, EveryLegacyTableGoesToItsOwnRoutine) {
  ScratchDir dir;
  std::vector<FixtureFile> written;
  std::string error;
  ASSERT_TRUE(generateFixtures({dir.path.string(), 30, 1, 1}, &written, &error)) << error;
  auto ios = VEQFMDatabaseQueue::databaseQueueWithPath(dir / "ios.sqlite");
  auto android = VEQFMDatabaseQueue::databaseQueueWithPath(dir / "android.sqlite");
  VEQProDBManager& manager = fresh_.session().manager();
  std::vector<VEQDict> devices;
  for (const VEQDict& row : VEQOldDBManager::getOneTableAllDataWithDbQueue(ios.get(), "t_user_device")) {
    devices.push_back(
        {{"user_id", row.stringForKey("user_id")}, {"smart_device_id", row.stringForKey("smart_device_id")}});
  }
  manager.setIosUserDevices(devices);
  devices.clear();
  for (const VEQDict& row : VEQOldDBManager::getOneTableAllDataWithDbQueue(android.get(), "BASIC_INFOS")) {
    devices.push_back({{"D_ID", row["D_ID"]}, {"MAC_ADDRESS", row.stringForKey("MAC_ADDRESS")}});
  }
  manager.setAndroidUserDevices(devices);
  fresh_.session().legacyReader().setAndroidQueue(android.get());

  auto check = [&](auto driver, const ExpectedRoute& route) {
    SCOPED_TRACE(route.table);
    VEQFMDatabaseQueue* legacy = std::string_view(route.table).starts_with("t_") ? ios.get() : android.get();
    std::shared_ptr<VEQFMDatabaseQueue> routed, direct;
    for (auto* queue : {&routed, &direct}) {
      *queue = VEQFMDatabaseQueue::databaseQueueWithPath(":memory:");
      ASSERT_TRUE(veqInstallSchema((*queue)->database().get(), &error)) << error;
    }
    driver(route.table, routed.get(), legacy, nullptr);
    M::setCurrentDateStr("");
    M::setSerialNumber(0);
    for (const VEQDict& row : VEQOldDBManager::getOneTableAllDataWithDbQueue(legacy, route.table)) {
      VEQFMDatabase* db = direct->database().get();
      route.settings ? route.settings(row, db) : route.health(row, legacy, db);
    }
    const std::string expected = newRecords(direct.get());
    EXPECT_NE(expected, "") << "the fixture's rows convert to nothing";
    EXPECT_EQ(newRecords(routed.get()), expected);
  };
  std::vector<std::string> names;
  for (const ExpectedRoute& route : kJkdbRoutes) {
    check(M::jkdbDataMigrationWithTableName, route);
    names.push_back(route.table);
  }
  EXPECT_EQ(M::jkdbMigratableTableNames(), names);  // and no others
  names.clear();
  for (const ExpectedRoute& route : kHealthRoutes) {
    check(M::androidDataMigrationWithTableName, route);
    names.push_back(route.table);
  }
  EXPECT_EQ(M::androidMigratableTableNames(), names);
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
