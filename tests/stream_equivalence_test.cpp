// The fast way of writing records and the straightforward one, which writes
// and looks up every record row by row, must leave the same tables and tell
// every row's story the same way at the same moment: the same outcome,
// reason and message, the same driver flag, in the same order, each after
// its row is in the database.
//
// The outputs refuse chosen rows (CHECK constraints and partial unique
// indexes, which fail a row in the middle of a multi-row INSERT; triggers
// that fail or abort the statement or drop the row silently), so rows fail
// on insert and on update, in among rows that succeed. Each listener
// call also reads the output: the highest primary key of every health table
// (a record reported before it is written shows there), and, for the mixed
// store, the record under the reported row's keys, which must hold the
// row's values when it was written and not when its write failed.
#include <gtest/gtest.h>

#include <date/date.h>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/user_defaults.h"
#include "fixtures/fixture_mixed.h"
#include "fixtures/fixtures.h"
#include "migration/migration_plan.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"
#include "test_support.h"

namespace veq {
namespace {

// What the outputs do with the mixed store's marked step counts (see
// refuseRows).
constexpr int64_t kRefusedSteps = kMixedMarkedSteps[0];
constexpr int64_t kAbortingSteps = kMixedMarkedSteps[1];
constexpr int64_t kUniqueSteps = kMixedMarkedSteps[2];
constexpr int64_t kDroppedSteps = kMixedMarkedSteps[3];

// Rebuilds the empty `table` with `checks` added to its definition, keeping
// its indexes.
void addChecks(VEQFMDatabase& db, const std::string& table, const std::string& checks) {
  std::string sql;
  std::vector<std::string> indexes;
  auto rs = db.executeQuery("SELECT type, sql FROM sqlite_master WHERE tbl_name = ? AND sql IS NOT NULL", {table});
  while (rs && rs->next()) {
    std::string definition = rs->stringForColumn("sql");
    if (rs->stringForColumn("type") == "table") {
      definition.insert(definition.rfind(')'), ", " + checks);
      sql = "DROP TABLE " + table + ";" + definition + ";" + sql;
    } else {
      sql += definition + ";";
    }
  }
  rs.reset();
  ASSERT_EQ(queryInt(&db, "SELECT count(*) FROM " + table), 0);
  ASSERT_TRUE(db.executeStatements(sql)) << db.lastErrorMessage();
}

// Makes a new output refuse chosen rows, in two ways. A trigger on a table
// makes SQLite read the whole SELECT of an INSERT … SELECT before inserting
// a row; constraints alone leave the rows to be inserted one by one as they
// are selected, and a failure then comes in the middle of the statement.
//   * sport items, by constraints: CHECKs refuse 4242 and 4343 steps, and
//     ordinary counts of 13 more than a multiple of 97; a partial unique
//     index lets one record hold 4444;
//   * sport days, by triggers on insert and update: 4242 total steps fail
//     the statement, 4343 abort it (undoing all it wrote), a unique index
//     as above for 4444, and 4545 is not inserted and raises no error;
//   * heart-rate items (in the fixtures), by a trigger that aborts.
void refuseRows(VEQFMDatabase& db) {
  addChecks(db, "health_sport_item",
            fmt::format("CONSTRAINT refuse_steps_{0} CHECK (steps <> {0}), CONSTRAINT refuse_steps_{1} CHECK "
                        "(steps <> {1}), CONSTRAINT refuse_steps_97 CHECK (steps % 97 <> 13)",
                        kRefusedSteps, kAbortingSteps));
  std::string sql = fmt::format("CREATE UNIQUE INDEX refuse_item_twice ON health_sport_item (steps) WHERE steps = {};",
                                kUniqueSteps);
  int triggers = 0;
  const auto refuse = [&](const std::string& table, const std::string& when, const std::string& action,
                          std::initializer_list<const char*> events) {
    for (const char* event : events) {
      sql += fmt::format("CREATE TRIGGER refuse_{} BEFORE {} ON {} WHEN {} BEGIN SELECT RAISE({}); END;", ++triggers,
                         event, table, when, action);
    }
  };
  const auto days = [](int64_t steps) { return fmt::format("NEW.total_steps = {}", steps); };
  refuse("health_sport", days(kRefusedSteps), fmt::format("FAIL, 'total_steps {} refused'", kRefusedSteps),
         {"INSERT", "UPDATE"});
  refuse("health_sport", days(kAbortingSteps), fmt::format("ABORT, 'total_steps {} refused'", kAbortingSteps),
         {"INSERT", "UPDATE"});
  refuse("health_sport", days(kDroppedSteps), "IGNORE", {"INSERT"});
  sql += fmt::format("CREATE UNIQUE INDEX refuse_day_twice ON health_sport (total_steps) WHERE total_steps = {};",
                     kUniqueSteps);
  refuse("health_heart_rate_item", "NEW.heart_rate % 29 = 3", "ABORT, 'rate % 29 refused'", {"INSERT", "UPDATE"});
  ASSERT_TRUE(db.executeStatements(sql)) << db.lastErrorMessage();
}

// The highest pk of every health table, as one text.
std::string healthHighWater(VEQFMDatabase& db) {
  static const std::string sql = [] {
    std::string columns;
    for (const std::string& t : VEQSyncSqlManager::healthTableNames()) {
      columns += fmt::format("{}(SELECT max(pk) FROM {})", columns.empty() ? "" : ", ", t);
    }
    return "SELECT " + columns;
  }();
  std::string text;
  auto rs = db.executeQuery(sql);
  if (!rs || !rs->next()) return "unreadable: " + db.lastErrorMessage();
  for (int i = 0; i < rs->columnCount(); ++i) text += rs->objectForColumnIndex(i).description() + ",";
  return text;
}

int64_t utcDayStart(int64_t seconds) { return seconds - (seconds % 86400 + 86400) % 86400; }

int64_t utcDayStampOf(int64_t ymd) {
  const date::year_month_day d{date::year(int(ymd / 10000)), date::month(unsigned(ymd / 100 % 100)),
                               date::day(unsigned(ymd % 100))};
  return int64_t{date::sys_days{d}.time_since_epoch().count()} * 86400;
}

// Reads the record a reported mixed-store row went to and says what is
// wrong with it, or "". Rows of days without serial numbers are numbered
// 1, 2, … per day met, as the migration numbers them.
class MixedReadback {
 public:
  std::string check(VEQFMDatabase& db, const std::string& table, const VEQRowReport& report) {
    const VEQDict& row = *report.row;
    const std::string mac = row["smart_device_id"].description();
    const int64_t time = row.integerForKey(table == "t_and_weight_data" ? "time_string" : "date");
    if (mac.empty() || time < 1) return "";
    if (table == "t_sport_item") {
      int64_t serial = row.integerForKey("serial_number");
      if (serial == 0) {
        serial = time == numberedDay_ ? ++lastSerial_ : (lastSerial_ = 1);
        numberedDay_ = time;
      }
      return expect(db, report,
                    "SELECT steps FROM health_sport_item WHERE mac_addr = ? AND day_stamp = ? AND serial_number = ?",
                    {mac, utcDayStampOf(time), serial}, row["sport_count"]);
    }
    if (table == "t_sport_data") {
      return expect(db, report, "SELECT total_steps FROM health_sport WHERE mac_addr = ? AND day_stamp = ?",
                    {mac, utcDayStampOf(time)}, row["total_step"]);
    }
    if (table == "t_and_weight_data") {
      return expect(db, report,
                    "SELECT measure_stamp || '/' || CAST(weight AS REAL) FROM health_weight WHERE day_stamp = ?",
                    {utcDayStart(time)}, fmt::format("{}/{:.1f}", time, row.doubleForKey("weight_value_cn")));
    }
    return "";
  }

 private:
  static std::string expect(VEQFMDatabase& db, const VEQRowReport& report, const std::string& sql, const VEQArray& keys,
                            const VEQValue& value) {
    auto rs = db.executeQuery(sql, keys);
    const VEQValue found = rs && rs->next() ? rs->objectForColumnIndex(0) : VEQValue();
    const bool holds = found.description() == value.description();
    switch (report.outcome) {
      case VEQRowOutcome::kInserted:
      case VEQRowOutcome::kUpdated:
        if (holds || value == VEQValue(kDroppedSteps)) return "";
        return fmt::format("reported {} but the record under its keys holds {}, not {}",
                           veqOutcomeName(report.outcome), found.description(), value.description());
      case VEQRowOutcome::kWriteFailed:
        return holds ? "reported failed but its record holds " + value.description() : "";
      default:
        return "";
    }
  }

  int64_t numberedDay_ = 0;
  int64_t lastSerial_ = 0;
};

// What one migration into one output told and left.
struct Told {
  std::vector<std::string> rows;      // one line per listener call, in order
  std::vector<std::string> problems;  // read-back failures
  std::vector<std::string> stops;
};

struct Stores {
  std::string ios, android, androidCloud, defaults;  // empty: none
};

// Migrates `stores` into the output at `outPath` (created with its schema
// and refusals when new) in a session of its own, as the tool does.
void migrate(const Stores& stores, const std::string& outPath, bool straightforward, bool readMixed, Told& told) {
  VEQMigrationSession session;
  VEQMigrationSession::Scope scope(session);
  session.useStraightforwardPaths(straightforward);
  session.setTimeZone(VEQTimeZone::fixed(0, "UTC"));
  session.setFixedNow(1700000000);
  std::string error;
  if (!stores.defaults.empty()) {
    ASSERT_TRUE(session.userDefaults().loadFromFile(stores.defaults, &error)) << error;
  }

  auto out = VEQFMDatabase::databaseWithPath(outPath);
  ASSERT_TRUE(out->open() && out->executeStatements("PRAGMA synchronous=OFF"));
  if (queryInt(out.get(), "SELECT count(*) FROM sqlite_master") == 0) {
    ASSERT_TRUE(veqInstallSchema(out.get(), &error)) << error;
    refuseRows(*out);
    if (::testing::Test::HasFatalFailure()) return;
  }
  auto output = std::make_shared<VEQFMDatabaseQueue>(out);
  std::vector<std::shared_ptr<VEQFMDatabaseQueue>> queues;
  for (const auto& [kind, path] : {std::pair{LegacyStore::kIos, stores.ios}, {LegacyStore::kAndroid, stores.android},
                                   {LegacyStore::kAndroidCloud, stores.androidCloud}}) {
    if (path.empty()) continue;
    queues.push_back(VEQFMDatabaseQueue::databaseQueueWithPath(path));
    session.attachLegacyStore(kind, queues.back().get());
  }

  MixedReadback readback;
  MigrationListener listener;
  listener.rowMigrated = [&](const TableSummary& table, int64_t position, const VEQRowReport& row) {
    std::string line = fmt::format("{} {} #{} yes={} no={} {}", table.store, table.table, position, table.succeeded,
                                   table.failed, veqOutcomeName(row.outcome));
    if (row.outcome == VEQRowOutcome::kSkipped) line += ":" + std::string(veqSkipReasonName(row.reason));
    if (row.outcome == VEQRowOutcome::kWriteFailed) line += " '" + row.message + "'";
    line += " | " + healthHighWater(*out);
    if (readMixed && row.row) {
      if (std::string problem = readback.check(*out, table.table, row); !problem.empty()) {
        told.problems.push_back(line + ": " + problem);
      }
    }
    told.rows.push_back(std::move(line));
  };
  const MigrationSummary summary = session.migrateAllStores(output.get(), &listener);
  if (summary.stopReason) told.stops.push_back(*summary.stopReason);
}

// Every table of a database, each row as one text, in rowid order.
std::vector<std::string> tableTexts(const std::string& path) {
  std::vector<std::string> texts;
  for (const auto& [table, rows] : dumpDatabase(path)) {
    for (const std::string& row : rows) texts.push_back(table + ": " + row);
  }
  return texts;
}

// The first line where `fast` and `plain` differ, with its neighbours.
void expectSameLines(const std::vector<std::string>& fast, const std::vector<std::string>& plain, const char* what) {
  for (size_t i = 0; i < std::min(fast.size(), plain.size()); ++i) {
    if (fast[i] == plain[i]) continue;
    ADD_FAILURE() << what << " differ at line " << i << (i > 0 ? "\n  both:  " + plain[i - 1] : "")
                  << "\n  fast:  " << fast[i] << "\n  plain: " << plain[i];
    return;
  }
  const std::vector<std::string>& longer = fast.size() > plain.size() ? fast : plain;
  EXPECT_EQ(fast.size(), plain.size()) << what << " of unequal length; the longer goes on with "
                                       << longer[std::min(fast.size(), plain.size())];
}

// How many lines contain `text`.
size_t linesWith(const std::vector<std::string>& lines, const std::string& text) {
  return std::count_if(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

// Runs the same sequence of migrations into two outputs, one per path, and
// requires the same story and the same tables. Returns the fast path's rows.
std::vector<std::string> expectBothPathsAlike(const ScratchDir& dir, const std::vector<Stores>& runs, bool readMixed) {
  Told told[2];
  for (const bool straightforward : {false, true}) {
    Told& t = told[straightforward];
    for (size_t run = 0; run < runs.size(); ++run) {
      t.rows.push_back(fmt::format("---- run {}", run));
      migrate(runs[run], dir / (straightforward ? "plain.sqlite" : "fast.sqlite"), straightforward, readMixed, t);
    }
  }
  expectSameLines(told[0].rows, told[1].rows, "listener calls");
  expectSameLines(tableTexts(dir / "fast.sqlite"), tableTexts(dir / "plain.sqlite"), "output rows");
  EXPECT_EQ(told[0].stops, told[1].stops);
  for (const Told& t : told) {
    EXPECT_TRUE(t.problems.empty()) << t.problems.size() << " rows read back wrong; the first: " << t.problems.front();
  }
  return told[0].rows;
}

TEST(StreamEquivalenceTest, MixedStoresTellEveryRowAlikeOnBothPaths) {
  ScratchDir dir;
  std::string error;
  // An earlier store of two of the devices fills the output first, so the
  // later store's keys fall below, between and above what it holds.
  ASSERT_TRUE(generateMixedStore({dir / "earlier.sqlite", 2, 2, 10}, nullptr, &error)) << error;
  ASSERT_TRUE(generateMixedStore({dir / "mixed.sqlite", 1, 5, 24}, nullptr, &error)) << error;
  Stores earlier, mixed;
  earlier.ios = dir / "earlier.sqlite";
  mixed.ios = dir / "mixed.sqlite";
  // The mixed store twice: the second time every record exists.
  const std::vector<std::string> rows = expectBothPathsAlike(dir, {earlier, mixed, mixed}, true);

  // The stores hold what they are meant to: every kind of outcome, and
  // each kind of refusal among inserts (the first runs) and among updates
  // (the rerun).
  const auto rerun = std::find(rows.begin(), rows.end(), "---- run 2");
  ASSERT_NE(rerun, rows.end());
  const std::vector<std::string> firstRuns(rows.begin(), rerun), again(rerun, rows.end());
  for (const char* outcome : {"inserted", "updated", "skipped:no_device_key", "skipped:no_date"}) {
    EXPECT_GT(linesWith(firstRuns, outcome), 0u) << outcome;
  }
  for (const char* refused :
       {"'CHECK constraint failed: refuse_steps_4242'", "'CHECK constraint failed: refuse_steps_4343'",
        "'UNIQUE constraint failed: health_sport_item.steps'", "'total_steps 4242 refused'", "'total_steps 4343 refused'"}) {
    EXPECT_GT(linesWith(firstRuns, refused), 0u) << refused;
    EXPECT_GT(linesWith(again, refused), 0u) << refused;
  }
}

TEST(StreamEquivalenceTest, FixturesTellEveryRowAlikeOnBothPaths) {
  ScratchDir dir;
  std::vector<FixtureFile> written;
  std::string error;
  ASSERT_TRUE(generateFixtures({dir / "fixtures", 6, 2, 13}, &written, &error)) << error;
  const Stores all{dir / "fixtures/ios.sqlite", dir / "fixtures/android.sqlite",
                   dir / "fixtures/android_cloud.sqlite", dir / "fixtures/defaults.json"};
  const std::vector<std::string> rows = expectBothPathsAlike(dir, {all, all}, false);
  EXPECT_GT(linesWith(rows, "inserted"), 1000u);
  EXPECT_GT(linesWith(rows, "updated"), 1000u);
  EXPECT_GT(linesWith(rows, "refuse_steps_97"), 10u);
  EXPECT_GT(linesWith(rows, "rate % 29 refused"), 10u);
}

}  // namespace
}  // namespace veq
