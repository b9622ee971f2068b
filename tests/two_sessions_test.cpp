// Two users' stores migrated at once, each in its own session on its own
// thread, must come out exactly as each migrated alone. Built with
// -fsanitize=thread the same test also proves the two runs share nothing
// mutable.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "fixtures/fixtures.h"
#include "collaborators/schema_installer.h"
#include "collaborators/user_defaults.h"
#include "migration/driver.h"
#include "migration/migration_plan.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"
#include "test_support.h"

namespace veq {
namespace {

struct User {
  std::string dir;      // fixtures of this user
  uint64_t seed;
  int devices;
  std::shared_ptr<const VEQTimeZone> zone;
  int64_t now;
};

// One user's whole migration in a session of its own, as the tool runs it:
// all registries and handles first, then every store's tables in order.
// Returns a problem, or "" when every table ran.
std::string migrateUser(const User& user, const std::string& outPath, int64_t* rowsReported) {
  VEQMigrationSession session;
  VEQMigrationSession::Scope scope(session);
  session.setTimeZone(user.zone);
  session.setFixedNow(user.now);
  std::string error;
  if (!session.userDefaults().loadFromFile(user.dir + "/defaults.json", &error)) return error;

  auto out = VEQFMDatabase::databaseWithPath(outPath);
  if (!out->open() || !veqInstallSchema(out.get(), &error)) return "schema: " + error;
  auto outQueue = std::make_shared<VEQFMDatabaseQueue>(out);

  std::vector<std::shared_ptr<VEQFMDatabaseQueue>> stores;
  const std::pair<LegacyStore, const char*> files[] = {
      {LegacyStore::kIos, "ios.sqlite"},
      {LegacyStore::kAndroid, "android.sqlite"},
      {LegacyStore::kAndroidCloud, "android_cloud.sqlite"}};
  for (const auto& [kind, file] : files) {
    stores.push_back(VEQFMDatabaseQueue::databaseQueueWithPath(user.dir + "/" + file));
    session.attachLegacyStore(kind, stores.back().get());
  }
  MigrationListener listener;
  listener.rowMigrated = [&](const TableSummary&, int64_t, const VEQRowReport& row) {
    // The report must be this session's own row.
    if (row.outcome != VEQRowOutcome::kUnstated &&
        &row == &VEQProDBManager::lastRowReport()) ++*rowsReported;
  };
  const MigrationSummary summary = session.migrateAllStores(outQueue.get(), &listener);
  if (summary.stopReason) return *summary.stopReason;
  return "";
}

TEST(TwoSessionsTest, SideBySideRunsEqualRunsAlone) {
  ScratchDir dir;
  // Different stores, zones on either side of UTC, and different clocks
  // (the current year decides the Buddhist-year correction).
  const std::vector<User> users = {
      {dir / "alice", 11, 2, VEQTimeZone::fixed(9 * 3600, "UTC+9"), 1700000000},
      {dir / "bob", 29, 3, VEQTimeZone::fixed(-5 * 3600, "UTC-5"), 1500000000},
  };
  for (const User& user : users) {
    std::vector<FixtureFile> written;
    std::string error;
    ASSERT_TRUE(generateFixtures({user.dir, 4, user.devices, user.seed}, &written, &error)) << error;
  }

  // Each alone, on this thread.
  std::vector<Dump> alone;
  std::vector<int64_t> aloneRows;
  for (const User& user : users) {
    int64_t rows = 0;
    ASSERT_EQ(migrateUser(user, user.dir + "/alone.sqlite", &rows), "");
    alone.push_back(dumpDatabase(user.dir + "/alone.sqlite"));
    aloneRows.push_back(rows);
    ASSERT_GT(rows, 100) << "the fixtures should give every table rows";
  }
  ASSERT_NE(alone[0], alone[1]) << "the two users' stores should differ";

  // Both at once. The default session meanwhile holds other values, which
  // neither run may see.
  VEQSDKUtility::setTimeZone(VEQTimeZone::fixed(3600, "UTC+1"));
  VEQProDBManager::shareInstance().setIosUserDevices({});
  std::vector<std::string> problems(users.size());
  std::vector<int64_t> rows(users.size(), 0);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < users.size(); ++i) {
    threads.emplace_back([&, i] { problems[i] = migrateUser(users[i], users[i].dir + "/together.sqlite", &rows[i]); });
  }
  for (std::thread& t : threads) t.join();
  VEQSDKUtility::setTimeZone(std::shared_ptr<const VEQTimeZone>());

  for (size_t i = 0; i < users.size(); ++i) {
    SCOPED_TRACE(users[i].dir);
    ASSERT_EQ(problems[i], "");
    EXPECT_EQ(rows[i], aloneRows[i]);
    const Dump together = dumpDatabase(users[i].dir + "/together.sqlite");
    ASSERT_EQ(together.size(), alone[i].size());
    for (const auto& [table, expected] : alone[i]) {
      SCOPED_TRACE(table);
      const std::vector<std::string>& actual = together.at(table);
      ASSERT_EQ(actual.size(), expected.size());
      for (size_t r = 0; r < expected.size(); ++r) ASSERT_EQ(actual[r], expected[r]) << "row " << r;
    }
  }
}

// A session's state stays its own on the thread that runs it, and the
// default session's is untouched by it.
TEST(TwoSessionsTest, ScopesKeepEachSessionsStateApart) {
  VEQMigrationSession first, second;
  {
    VEQMigrationSession::Scope a(first);
    VEQUserDefaults::standardUserDefaults().setObject("who", VEQValue("first"));
    VEQSDKUtility::setFixedNow(100);
    VEQProDBManager::nextSerialNumberForStamp("day");
    {
      VEQMigrationSession::Scope b(second);
      EXPECT_TRUE(VEQUserDefaults::standardUserDefaults().objectForKey("who").isNull());
      EXPECT_NE(VEQSDKUtility::now(), 100);
      EXPECT_EQ(VEQProDBManager::nextSerialNumberForStamp("day"), 1);
      veqUseStraightforwardPaths(true);
    }
    EXPECT_EQ(VEQUserDefaults::standardUserDefaults().stringForKey("who"), "first");
    EXPECT_EQ(VEQSDKUtility::now(), 100);
    EXPECT_EQ(VEQProDBManager::nextSerialNumberForStamp("day"), 2);
    EXPECT_FALSE(veqStraightforwardPaths());
  }
  EXPECT_TRUE(second.straightforwardPaths());
  second.reset();
  EXPECT_FALSE(second.straightforwardPaths());
  EXPECT_NE(&VEQMigrationSession::current(), &first);
  EXPECT_TRUE(VEQUserDefaults::standardUserDefaults().objectForKey("who").isNull());
}

}  // namespace
}  // namespace veq
