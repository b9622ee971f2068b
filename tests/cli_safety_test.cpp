// The tool under locks, a full disk, stores left with a log or journal, and
// paths that name one file twice: each is refused or survived with one clear
// line and nothing lost.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "tool_test_support.h"

namespace veq {
namespace {

namespace fs = std::filesystem;

class ToolSafety : public ToolTest {
 protected:
  static int lines(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }
};

TEST_F(ToolSafety, EveryWrittenFileMustBeAFileOfItsOwn) {
  fixtures("fx");
  fs::create_symlink(path("fx") / "ios.sqlite", path("link.sqlite"));
  const auto before = snapshot(path("fx"));
  const std::string ios = (path("fx") / "ios.sqlite").string();
  const std::string defaults = (path("fx") / "defaults.json").string();
  const std::string respelt = (path("fx") / ".." / "fx" / "." / "ios.sqlite").string();
  const std::string cases[] = {
      " --json " + ios,                                                  // report over an input
      " --json " + path("link.sqlite").string(),                         // … through a symlink
      " --rejects " + respelt,                                           // … spelt another way
      " --json " + defaults,                                             // report over the defaults
      " --json " + path("new.sqlite").string(),                          // report over the output
      " --json " + path("r.json").string() + " --rejects " + path("r.json").string(),
  };
  for (const std::string& extra : cases) {
    ToolResult r = tool(runArgs("fx", "new.sqlite") + extra);
    EXPECT_EQ(r.status, 2) << extra;
    EXPECT_EQ(lines(r.err), 1) << r.err;
    EXPECT_NE(r.err.find("names the same file as"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(path("new.sqlite"))) << extra;
  }
  EXPECT_EQ(snapshot(path("fx")), before);
}

TEST_F(ToolSafety, ALockedOutputIsWaitedForThenRefused) {
  fixtures("fx");
  ASSERT_EQ(tool(runArgs("fx", "new.sqlite")).status, 0);
  const std::string out = path("new.sqlite").string();
  const int64_t records = count(out, "SELECT COUNT(*) FROM health_sport_item");
  VEQFMDatabase holder(out);
  ASSERT_TRUE(holder.open());
  ASSERT_TRUE(holder.executeStatements("BEGIN IMMEDIATE; DELETE FROM health_sport_item;"));

  const auto started = std::chrono::steady_clock::now();
  ToolResult locked = tool(runArgs("fx", "new.sqlite") + " --lock-wait 0.5");
  const double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_EQ(locked.status, 2);
  EXPECT_EQ(locked.err, "veq-migrate: " + out +
                            ": locked by another process; gave up after waiting 0.5 s for its write lock\n");
  EXPECT_GE(waited, 0.5);
  EXPECT_LT(waited, 10.0);

  // A lock released while the tool waits lets the run go through.
  std::thread release([&holder] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    holder.rollback();
  });
  ToolResult waitedFor = tool(runArgs("fx", "new.sqlite") + " --lock-wait 20");
  release.join();
  EXPECT_EQ(waitedFor.status, 0) << waitedFor.err;
  EXPECT_EQ(count(out, "SELECT COUNT(*) FROM health_sport_item"), records);
}

TEST_F(ToolSafety, AFullDiskStopsTheRunAtTheFirstErrorAndRollsTheTableBack) {
  fixtures("small", "--days 3 --devices 1");
  fixtures("large", "--days 90 --devices 2");
  ASSERT_EQ(tool(runArgs("small", "new.sqlite")).status, 0);
  const std::string out = path("new.sqlite").string();
  const int64_t items = count(out, "SELECT COUNT(*) FROM health_sport_item");
  const auto defaults = slurp(path("large") / "defaults.json");

  // Files may grow by 64 KiB more (sh counts 512-byte blocks); the large
  // stores need megabytes. SIGXFSZ ignored: the write fails instead.
  const uintmax_t blocks = (fs::file_size(out) + 65536) / 512;
  const auto started = std::chrono::steady_clock::now();
  ToolResult r = tool(runArgs("large", "new.sqlite"), "trap '' XFSZ; ulimit -f " + std::to_string(blocks) + "; exec ");
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(lines(r.err), 1) << r.err;
  EXPECT_EQ(r.err.rfind("veq-migrate: " + out + ": ", 0), 0u) << r.err;
  EXPECT_NE(r.err.find("rolled back and the run stopped"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("ROLLED BACK"), std::string::npos);
  EXPECT_LT(seconds, 30.0);

  // The stopped table kept its old records, the file is sound, and the
  // defaults were not rewritten.
  EXPECT_EQ(count(out, "SELECT COUNT(*) FROM health_sport_item"), items);
  VEQFMDatabase db(out);
  ASSERT_TRUE(db.open());
  EXPECT_EQ(queryInt(&db, "SELECT COUNT(*) FROM pragma_integrity_check WHERE integrity_check <> 'ok'"), 0);
  EXPECT_EQ(slurp(path("large") / "defaults.json"), defaults);
}

TEST_F(ToolSafety, LegacyStoresAreReadWithoutChangingThem) {
  fixtures("fx");
  // A store in write-ahead-log mode whose last commit is still in its log,
  // and a store left with a hot rollback journal by a writer that died.
  const std::string wal = (path("fx") / "ios.sqlite").string();
  {
    VEQFMDatabase db(wal);
    ASSERT_TRUE(db.open());
    ASSERT_TRUE(db.executeStatements("PRAGMA journal_mode=WAL"));
    sqlite3_db_config(db.sqliteHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    ASSERT_TRUE(db.executeStatements("DELETE FROM t_sport_item WHERE date = 20170102"));
  }
  ASSERT_GT(fs::file_size(wal + "-wal"), 0u);
  const std::string android = (path("fx") / "android.sqlite").string();
  {
    VEQFMDatabase db(android);
    ASSERT_TRUE(db.open());
    ASSERT_TRUE(db.executeStatements("PRAGMA cache_size=1; BEGIN; DELETE FROM BASIC_INFOS;"));
    fs::copy_file(android, path("hot.sqlite"));
    fs::copy_file(android + "-journal", path("hot.sqlite-journal"));
    ASSERT_TRUE(db.rollback());
  }
  fs::rename(path("hot.sqlite"), android);
  fs::rename(path("hot.sqlite-journal"), android + "-journal");
  const auto before = snapshot(path("fx"));

  ToolResult r = tool(runArgs("fx", "new.sqlite") + " --json " + path("report.json").string());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(snapshot(path("fx")).size(), before.size());  // no -shm, no new journal
  for (const auto& [name, bytes] : before) {
    if (name != "defaults.json") {
      EXPECT_EQ(slurp(path("fx") / name), bytes) << name;
    }
  }
  // What the log held and what the journal undoes are both read.
  // (Only the iOS devices' keys hold colons.)
  EXPECT_EQ(count(path("new.sqlite"),
                  "SELECT COUNT(*) FROM health_sport_item WHERE day_stamp = 1483315200 AND mac_addr LIKE '%:%'"),
            0);
  EXPECT_GT(count(path("new.sqlite"), "SELECT COUNT(*) FROM health_sport_item"), 0);
  const auto report = nlohmann::json::parse(slurp(path("report.json")));
  for (const auto& t : report["tables"]) {
    if (t["store"] == "android" && t["table"] == "BASIC_INFOS") {
      EXPECT_EQ(t["rows"], 2);
    }
  }
}

}  // namespace
}  // namespace veq
