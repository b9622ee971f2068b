// fault_sweep_test.cpp — runs veq-migrate over the fault VFS (fault_vfs.h)
// once per fault point and checks what every fault leaves behind.
//
// A clean run of small generated stores first counts the run's I/O calls and
// keeps the output's state after each of its commits. Then, for each mode
// (an I/O error on the n-th read, write, sync or truncate; a full disk on the
// n-th write; a kill right after the n-th sync) and each chosen n, a run from
// the same starting point with that fault must
//   - exit 0 with the clean run's output and defaults, or exit 1 or 2 with a
//     "veq-migrate: " message (a kill may end it anywhere);
//   - leave an output that passes PRAGMA integrity_check and holds, table by
//     table, the state after one of the clean run's commits (so each new
//     table is as before the run, complete, or as the commit of one legacy
//     table that feeds it left it);
//   - leave the legacy stores unchanged, and the defaults unchanged unless
//     the run succeeded;
// and the next run without a fault must exit 0 with the clean run's output.
// Both a first run into no output and a second run into the output of a
// clean first run are swept.
//
// Which n: every n when VEQ_SWEEP_ALL=1; else every n up to VEQ_SWEEP_FIRST
// (default 100) and VEQ_SWEEP_SAMPLE (default 60) more spread evenly over the
// rest, the last call included.
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <regex>
#include <csignal>
#include <set>
#include <string>
#include <vector>

#include "collaborators/schema_installer.h"
#include "tool_test_support.h"

namespace veq {
namespace {

namespace fs = std::filesystem;

// Every new table's rows, each rendered with its values' types, sorted.
using OutputState = std::map<std::string, std::vector<std::string>>;

std::string render(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL: return "null";
    case SQLITE_INTEGER: return "i" + std::to_string(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT: return "f" + std::to_string(sqlite3_column_double(statement, column));
    default: {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
      return "t" + std::string(bytes ? bytes : "", sqlite3_column_bytes(statement, column));
    }
  }
}

// Opens `db` as the next user of the file would (a hot journal is rolled
// back), checks its integrity into `integrity` and reads every new table.
OutputState readOutput(const fs::path& db, std::string* integrity) {
  OutputState state;
  for (const std::string& table : veqNewTableNames()) state[table];
  if (integrity) *integrity = "ok";
  if (!fs::exists(db)) return state;
  sqlite3* handle = nullptr;
  if (sqlite3_open_v2(db.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    if (integrity) *integrity = std::string("cannot open: ") + sqlite3_errmsg(handle);
    sqlite3_close(handle);
    return state;
  }
  auto query = [&](const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) return false;
    int rc;
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) row(statement);
    sqlite3_finalize(statement);
    return rc == SQLITE_DONE;
  };
  if (integrity) {
    integrity->clear();
    if (!query("PRAGMA integrity_check", [&](sqlite3_stmt* s) { *integrity += render(s, 0).substr(1); })) {
      *integrity = std::string("integrity_check failed: ") + sqlite3_errmsg(handle);
    }
  }
  for (const std::string& table : veqNewTableNames()) {
    std::vector<std::string>& rows = state[table];
    // A table the run has not created yet reads as empty, as before the run.
    query("SELECT * FROM \"" + table + "\"", [&](sqlite3_stmt* s) {
      std::string line;
      for (int c = 0; c < sqlite3_column_count(s); ++c) line += render(s, c) + "|";
      rows.push_back(std::move(line));
    });
    std::sort(rows.begin(), rows.end());
  }
  sqlite3_close(handle);
  return state;
}

// The first table in which two states differ, with both row counts.
std::string difference(const OutputState& got, const OutputState& want) {
  for (const auto& [table, rows] : want) {
    const auto found = got.find(table);
    const size_t have = found == got.end() ? 0 : found->second.size();
    if (found == got.end() || found->second != rows) {
      return table + " (" + std::to_string(have) + " rows, expected " + std::to_string(rows.size()) + ")";
    }
  }
  return "";
}

// Settings tables whose records a later run does not find again, so that
// each run adds its rows anew.
const std::set<std::string> kAddedEachRun = {"t_set_menstruation_info", "t_set_menstruation_remind_info"};

// How the output after a stopped run and one run without fault (`got`)
// differs from one clean run: every table as the clean run leaves it, except
// that the tables of kAddedEachRun also keep what the stopped run (`left`)
// had added to the state before (`before`).
std::string recoveryDifference(const OutputState& got, const OutputState& left, const OutputState& before,
                               const OutputState& final) {
  for (const auto& [table, rows] : final) {
    const size_t have = got.count(table) ? got.at(table).size() : 0;
    const bool ok = kAddedEachRun.count(table)
                        ? have + before.at(table).size() == rows.size() + left.at(table).size()
                        : got.count(table) && got.at(table) == rows;
    if (!ok) return table + " (" + std::to_string(have) + " rows, clean run " + std::to_string(rows.size()) + ")";
  }
  return "";
}

struct Counts {
  int64_t reads = 0, writes = 0, syncs = 0, truncates = 0;
  bool fired = false;
};

Counts readCounts(const fs::path& file) {
  Counts c;
  int fired = 0;
  std::ifstream in(file);
  in >> c.reads >> c.writes >> c.syncs >> c.truncates >> fired;
  c.fired = fired != 0;
  return c;
}

struct Mode {
  const char* name;
  int64_t (*calls)(const Counts&);
};

const Mode kModes[] = {
    {"ioerr", [](const Counts& c) { return c.reads + c.writes + c.syncs + c.truncates; }},
    {"full", [](const Counts& c) { return c.writes; }},
    {"kill", [](const Counts& c) { return c.syncs; }},
};

int64_t envNumber(const char* name, int64_t fallback) {
  const char* value = std::getenv(name);
  return value && *value ? std::atoll(value) : fallback;
}

// The fault points swept out of `total` calls.
std::vector<int64_t> faultPoints(int64_t total) {
  if (envNumber("VEQ_SWEEP_ALL", 0) != 0) {
    std::vector<int64_t> all;
    for (int64_t n = 1; n <= total; ++n) all.push_back(n);
    return all;
  }
  const int64_t first = std::min(total, envNumber("VEQ_SWEEP_FIRST", 100));
  const int64_t sample = envNumber("VEQ_SWEEP_SAMPLE", 60);
  std::set<int64_t> points;
  for (int64_t n = 1; n <= first; ++n) points.insert(n);
  const int64_t rest = total - first;
  for (int64_t i = 1; rest > 0 && i <= sample; ++i) points.insert(first + (rest * i + sample - 1) / sample);
  return {points.begin(), points.end()};
}

class FaultSweep : public ToolTest {
 protected:
  // Stores in "fx"; each run's defaults and output in `dir`.
  std::string runArgs(const std::string& dir) const {
    const fs::path stores = path("fx");
    return "run --ios " + (stores / "ios.sqlite").string() + " --android " + (stores / "android.sqlite").string() +
           " --android-cloud " + (stores / "android_cloud.sqlite").string() + " --defaults " +
           (path(dir) / "defaults.json").string() + " --time-zone UTC --quiet --lock-wait 0 --out " +
           (path(dir) / "new.sqlite").string();
  }

  // `dir` made a copy of the starting point "start".
  void reset(const std::string& dir) const {
    fs::remove_all(path(dir));
    fs::copy(path("start"), path(dir));
  }

  std::string legacyBytes() const {
    return slurp(path("fx") / "ios.sqlite") + slurp(path("fx") / "android.sqlite") +
           slurp(path("fx") / "android_cloud.sqlite");
  }

  void sweep(bool intoExisting) {
    const char* scenario = intoExisting ? "second run" : "first run";
    fixtures("fx", "--days 3 --devices 1");
    fs::create_directories(path("start"));
    fs::copy_file(path("fx") / "defaults.json", path("start") / "defaults.json");
    if (intoExisting) {
      ASSERT_EQ(tool(runArgs("start")).status, 0);
    }
    const std::string stores = legacyBytes();
    const std::string startDefaults = slurp(path("start") / "defaults.json");

    // The clean run: its calls, its commits and its result.
    reset("clean");
    fs::create_directories(path("snapshots"));
    const fs::path countsFile = path("counts.txt");
    const ToolResult clean = tool(runArgs("clean"), "VEQ_FAULT_COUNTS=" + countsFile.string() +
                                                        " VEQ_FAULT_SNAPSHOTS=" + path("snapshots").string() + " ");
    ASSERT_EQ(clean.status, 0) << clean.err;
    const Counts counts = readCounts(countsFile);
    const OutputState final = readOutput(path("clean") / "new.sqlite", nullptr);
    const std::string finalDefaults = slurp(path("clean") / "defaults.json");
    std::vector<OutputState> commits{readOutput(path("start") / "new.sqlite", nullptr)};
    for (int i = 1; fs::exists(path("snapshots") / (std::to_string(i) + ".sqlite")); ++i) {
      commits.push_back(readOutput(path("snapshots") / (std::to_string(i) + ".sqlite"), nullptr));
    }
    commits.push_back(final);
    std::cout << scenario << ": " << counts.reads << " reads, " << counts.writes << " writes, " << counts.syncs
              << " syncs, " << counts.truncates << " truncates, " << commits.size() - 2 << " commits\n";

    for (const Mode& mode : kModes) {
      const std::vector<int64_t> points = faultPoints(mode.calls(counts));
      std::map<std::string, int> outcomes;  // exit status and message → runs
      int covered = 0;
      for (const int64_t n : points) {
        SCOPED_TRACE(std::string(scenario) + ", " + mode.name + " at call " + std::to_string(n));
        reset("work");
        const ToolResult faulted = tool(runArgs("work"), std::string("VEQ_FAULT=") + mode.name +
                                                             " VEQ_FAULT_N=" + std::to_string(n) + " ");
        ++covered;
        // Messages counted by kind: without the scratch directory, the table
        // and page numbers.
        std::string line = faulted.err.substr(0, faulted.err.find('\n'));
        line = std::regex_replace(line, std::regex(dir_.path.string() + "/"), "");
        line = std::regex_replace(line, std::regex("migrating \\S+ \\S+;"), "migrating <table>;");
        line = std::regex_replace(line, std::regex("Page [0-9]+"), "Page <n>");
        ++outcomes["exit " + std::to_string(faulted.status) + ": " + line];
        // The shell reports a killed tool as 128 + the signal.
        const bool killed = std::string(mode.name) == "kill" && faulted.status == 128 + SIGKILL;
        if (!killed) {
          ASSERT_TRUE(faulted.status == 0 || faulted.status == 1 || faulted.status == 2) << faulted.err;
          if (faulted.status != 0) {
            EXPECT_EQ(faulted.err.rfind("veq-migrate: ", 0), 0u) << faulted.err;
            // No file is damaged: a failed call must not be reported as one.
            EXPECT_EQ(faulted.err.find("corrupt"), std::string::npos) << faulted.err;
          }
        }

        // The output as its next user finds it, judged on a copy so that the
        // next run meets any journal the fault left.
        fs::remove_all(path("check"));
        fs::copy(path("work"), path("check"));
        std::string integrity;
        const OutputState left = readOutput(path("check") / "new.sqlite", &integrity);
        EXPECT_EQ(integrity, "ok");
        if (faulted.status == 0) {
          EXPECT_EQ(difference(left, final), "") << "a successful run left an incomplete output";
          EXPECT_EQ(slurp(path("work") / "defaults.json"), finalDefaults);
        } else {
          EXPECT_TRUE(std::find(commits.begin(), commits.end(), left) != commits.end())
              << "the output is in no state a commit of the clean run left; against the end: "
              << difference(left, final) << faulted.err;
          EXPECT_EQ(slurp(path("work") / "defaults.json"), startDefaults) << "the defaults changed";
        }
        EXPECT_EQ(legacyBytes(), stores) << "a legacy store changed";

        // A run that stopped is run again; one that finished was the run (a
        // second run is not the same as one: some settings are added anew).
        if (faulted.status != 0) {
          const ToolResult next = tool(runArgs("work"));
          EXPECT_EQ(next.status, 0) << next.err;
          const OutputState after = readOutput(path("work") / "new.sqlite", nullptr);
          EXPECT_EQ(recoveryDifference(after, left, commits.front(), final), "")
              << "the run after the fault did not give the clean run's output";
        }
        if (HasFailure()) {
          std::cout << "first failing point: " << scenario << ", " << mode.name << " at call " << n << "\n"
                    << faulted.err;
          return;
        }
      }
      std::cout << scenario << ", " << mode.name << ": " << covered << " fault points covered of "
                << mode.calls(counts) << " calls\n";
      for (const auto& [outcome, runs] : outcomes) std::cout << "  " << runs << " x " << outcome << "\n";
    }
  }
};

TEST_F(FaultSweep, FirstRunIntoNoOutput) { sweep(false); }

TEST_F(FaultSweep, SecondRunIntoAnExistingOutput) { sweep(true); }

}  // namespace
}  // namespace veq
