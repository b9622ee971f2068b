// tool_test_support.h — running the veq-migrate tool as a process in tests.
//
// ToolTest gives each test a scratch directory, runs the tool with a command
// line (stdout and stderr captured; as an unprivileged user if asked),
// writes fixtures and builds the usual `run` arguments for a fixture
// directory. Every start of the tool goes
// through toolCommand(), which puts the build's launcher first: a cross
// build's tests run under an emulator and so must the tool they start.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "files/database_inspection.h"
#include "collaborators/fmdb.h"
#include "test_support.h"

extern "C" char** environ;

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

// The words that start the tool: the emulator of a cross build (empty
// natively), then the tool's path (the build's unless another is given).
inline std::vector<std::string> toolCommand(const std::string& binary = VEQ_MIGRATE_BIN) {
  std::vector<std::string> words;
  std::istringstream launcher(VEQ_TOOL_LAUNCHER);
  for (std::string word; launcher >> word;) words.push_back(word);
  words.push_back(binary);
  return words;
}

class ToolTest : public ::testing::Test {
 protected:
  std::filesystem::path path(const std::string& name) const { return dir_.path / name; }
  // A JSON file the tool wrote in the scratch directory.
  nlohmann::json json(const std::string& name) const { return nlohmann::json::parse(slurp(path(name))); }

  // Runs the tool; `shell` is put before it in the /bin/sh command line
  // (for instance "ulimit -f 100; exec ").
  ToolResult tool(const std::string& args, const std::string& shell = "") const {
    const std::filesystem::path out = path("stdout.txt"), err = path("stderr.txt");
    std::string command = shell;
    for (const std::string& word : toolCommand(binary_)) command += word + " ";
    command += args + " >" + out.string() + " 2>" + err.string();
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
  }

  // The `shell` prefix of tool() that runs it as an unprivileged user:
  // nobody (65534) through setpriv when the tests run as root, nothing when
  // they already run unprivileged; nullopt when root has no setpriv or
  // nobody cannot start the tool. A build in a folder closed to others (a
  // clone under /root) is started from a copy in the scratch directory.
  // The files such a run reads must be readable by that user.
  std::optional<std::string> unprivileged() {
    if (::geteuid() != 0) return "";
    if (std::system("command -v setpriv >/dev/null 2>&1") != 0) return std::nullopt;
    const std::string prefix = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    if (tool("--help", prefix).status == 0) return prefix;
    namespace fs = std::filesystem;
    const fs::path copy = path("bin") / fs::path(VEQ_MIGRATE_BIN).filename();
    fs::create_directories(copy.parent_path());
    fs::copy_file(VEQ_MIGRATE_BIN, copy, fs::copy_options::overwrite_existing);
    for (const fs::path& p : {dir_.path, copy.parent_path(), copy})
      fs::permissions(p, fs::perms::others_read | fs::perms::others_exec, fs::perm_options::add);
    binary_ = copy.string();
    if (tool("--help", prefix).status == 0) return prefix;
    binary_ = VEQ_MIGRATE_BIN;
    return std::nullopt;
  }

  // Starts the tool with `args` and returns its pid without waiting; its
  // stdout goes to /dev/null, its stderr to `err` (/dev/null when empty).
  static pid_t spawnTool(std::vector<std::string> args, const std::string& err = "") {
    const std::vector<std::string> start = toolCommand();
    args.insert(args.begin(), start.begin(), start.end());
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, err.empty() ? "/dev/null" : err.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
  }

  // Fixtures in `sub` (default size: 5 days of 2 devices).
  void fixtures(const std::string& sub, const std::string& extra = "--days 5 --devices 2") const {
    ASSERT_EQ(tool("fixtures --out " + path(sub).string() + " " + extra).status, 0);
  }

  // The options naming every store and the defaults of a fixture directory,
  // and the zone (none: the platform's local time).
  std::string stores(const std::string& sub, const std::string& zone = "UTC") const {
    const std::filesystem::path d = path(sub);
    return " --ios " + (d / "ios.sqlite").string() + " --android " + (d / "android.sqlite").string() +
           " --android-cloud " + (d / "android_cloud.sqlite").string() + " --defaults " +
           (d / "defaults.json").string() + (zone.empty() ? "" : " --time-zone " + zone);
  }
  std::string runArgs(const std::string& sub, const std::string& out, const std::string& zone = "UTC") const {
    return "run" + stores(sub, zone) + " --out " + path(out).string();
  }

  // Each file of a directory with its bytes.
  static std::map<std::string, std::string> snapshot(const std::filesystem::path& dir) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) files[entry.path().filename()] = slurp(entry.path());
    return files;
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
  std::string binary_ = VEQ_MIGRATE_BIN;  // the tool tool() starts
};

}  // namespace veq
