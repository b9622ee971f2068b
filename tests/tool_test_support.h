// tool_test_support.h — running the veq-migrate tool as a process in tests.
//
// ToolTest gives each test a scratch directory, runs the tool with a command
// line (stdout and stderr captured), writes fixtures and builds the usual
// `run` arguments for a fixture directory.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "cli/database_inspection.h"
#include "collaborators/fmdb.h"
#include "test_support.h"

namespace veq {

struct ToolResult {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::string slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class ToolTest : public ::testing::Test {
 protected:
  std::filesystem::path path(const std::string& name) const { return dir_.path / name; }

  // Runs the tool; `shell` is put before it in the /bin/sh command line
  // (for instance "ulimit -f 100; exec ").
  ToolResult tool(const std::string& args, const std::string& shell = "") const {
    const std::filesystem::path out = path("stdout.txt"), err = path("stderr.txt");
    const std::string command =
        shell + std::string(VEQ_MIGRATE_BIN) + " " + args + " >" + out.string() + " 2>" + err.string();
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
  }

  // Fixtures in `sub` (default size: 5 days of 2 devices).
  void fixtures(const std::string& sub, const std::string& extra = "--days 5 --devices 2") const {
    ASSERT_EQ(tool("fixtures --out " + path(sub).string() + " " + extra).status, 0);
  }

  std::string runArgs(const std::string& sub, const std::string& out) const {
    const std::filesystem::path d = path(sub);
    return "run --ios " + (d / "ios.sqlite").string() + " --android " + (d / "android.sqlite").string() +
           " --android-cloud " + (d / "android_cloud.sqlite").string() + " --defaults " +
           (d / "defaults.json").string() + " --time-zone UTC --out " + path(out).string();
  }

  static int64_t count(const std::filesystem::path& db, const std::string& sql) {
    VEQFMDatabase database(db.string());
    return database.open() ? queryInt(&database, sql) : -1;
  }

  // Rows of `table` committed so far by another process; -1 while unreadable.
  static int64_t committedRows(const std::string& db, const std::string& table) {
    VEQFMDatabase database(db);
    if (!std::filesystem::exists(db) || !database.openWithFlags(SQLITE_OPEN_READONLY)) return -1;
    return rowCount(database, table);
  }

  ScratchDir dir_;
};

}  // namespace veq
