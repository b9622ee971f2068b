// whole_store.cpp — the whole-store benchmark (whole_store.h).
#include "bench/whole_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <vector>

#include "bench/child_process.h"
#include "bench/copies.h"
#include "cli/command_paths.h"
#include "collaborators/fmdb.h"
#include "migration/migration_plan.h"

namespace fs = std::filesystem;

namespace veq::bench {
namespace {

using Records = std::map<std::string, int64_t>;  // new table → records

struct ToolRun {
  ChildResult child;
  Records records;
};

struct Store {
  const LegacyStoreKind* kind;
  fs::path path;  // the fixture store
};

int fail(const std::string& message) {
  fmt::print(stderr, "veq_bench: {}\n", message);
  return 1;
}

// Runs the tool on the stores given as (option, path), the user defaults
// always, into a fresh output.
bool runTool(const WholeStoreOptions& o, const std::vector<std::pair<std::string, fs::path>>& stores,
             const fs::path& defaults, const fs::path& out, ToolRun* run) {
  fs::remove(out);
  const fs::path json = out.string() + ".json";
  std::vector<std::string> argv = {o.tool, "run", "--out", out.string(), "--time-zone", o.timeZone,
                                   "--defaults", defaults.string(), "--json", json.string()};
  for (const auto& [option, path] : stores) {
    argv.push_back(option);
    argv.push_back(path.string());
  }
  run->child = runMeasured(argv, "/dev/null");
  std::ifstream in(json);
  const auto report = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
  if (run->child.exitStatus > 1 || !report.is_object() || !report.contains("new_records")) return false;
  for (const auto& [table, count] : report["new_records"].items()) run->records[table] = count.get<int64_t>();
  return true;
}

std::vector<std::string> columnsOf(const fs::path& path, const std::string& table) {
  VEQFMDatabase db(path.string());
  std::vector<std::string> columns;
  if (!db.open()) return columns;
  for (auto rs = db.executeQuery("SELECT name FROM pragma_table_info(?)", {table}); rs && rs->next();)
    columns.push_back(rs->stringForColumn("name"));
  return columns;
}

int64_t rowCount(const fs::path& path, const std::string& table) {
  VEQFMDatabase db(path.string());
  return db.open() ? std::max<int64_t>(veq::rowCount(db, table), 0) : 0;
}

// The new table that gained most records between two runs.
std::string mainTarget(const Records& before, const Records& after) {
  std::string best;
  int64_t gained = 0;
  for (const auto& [table, count] : after) {
    const auto old = before.find(table);
    const int64_t more = count - (old == before.end() ? 0 : old->second);
    if (more > gained) best = table, gained = more;
  }
  return best;
}

}  // namespace

int runWholeStore(const WholeStoreOptions& o) {
  const fs::path dir = o.work, fixtures = dir / "fixtures", defaults = fixtures / "defaults.json";
  fs::create_directories(dir);
  if (!(o.reuse && fs::exists(fixtures / "ios.sqlite"))) {
    const ChildResult made = runMeasured({o.tool, "fixtures", "--out", fixtures.string(), "--days",
                                          std::to_string(o.days), "--devices", std::to_string(o.devices), "--seed",
                                          std::to_string(o.seed)},
                                         "/dev/null");
    if (made.exitStatus != 0) return fail("fixtures failed");
  }
  std::vector<Store> stores;
  for (const LegacyStoreKind& kind : legacyStoreKinds()) stores.push_back({&kind, fixtures / (kind.label + ".sqlite")});

  std::string error;
  // Set-up: every store reduced to its device table, alone and together.
  std::vector<std::pair<std::string, fs::path>> bare, whole;
  std::map<std::string, ToolRun> bareRuns;  // by store label
  for (const Store& s : stores) {
    const fs::path path = dir / (s.kind->label + ".bare.sqlite");
    if (!extractTables(s.path.string(), {s.kind->registryTable}, path.string(), &error)) return fail(error);
    bare.emplace_back(storeOption(*s.kind), path);
    whole.emplace_back(storeOption(*s.kind), s.path);
    if (!runTool(o, {bare.back()}, defaults, dir / "bare.out.sqlite", &bareRuns[s.kind->label]))
      return fail("set-up run of " + s.kind->label + " failed");
  }
  ToolRun setup, all;
  if (!runTool(o, bare, defaults, dir / "setup.out.sqlite", &setup)) return fail("set-up run failed");
  if (!runTool(o, whole, defaults, dir / "whole.out.sqlite", &all)) return fail("whole run failed");

  fmt::print("{:<14} {:<26} {:<28} {:>9} {:>11} {:>11} {:>7} {:>7}\n", "store", "legacy table", "new table", "rows",
             "tool rows/s", "copy rows/s", "ratio", "floor");
  double toolCpu = 0, copyCpu = 0, floorCpu = 0;
  int64_t totalRows = 0;
  for (const Store& s : stores) {
    for (const MigrationStep& step : migrationSteps(*s.kind)) {
      if (step.table == s.kind->registryTable) continue;
      const int64_t rows = rowCount(s.path, step.table);
      if (rows == 0) continue;
      const fs::path one = dir / "one.sqlite", out = dir / "one.out.sqlite";
      if (!extractTables(s.path.string(), {s.kind->registryTable, step.table}, one.string(), &error))
        return fail(error);
      ToolRun run;
      if (!runTool(o, {{storeOption(*s.kind), one}}, defaults, out, &run)) return fail("run of " + step.table + " failed");
      const std::string target = mainTarget(bareRuns[s.kind->label].records, run.records);
      const double cpu = std::max(run.child.cpuSeconds - bareRuns[s.kind->label].child.cpuSeconds, 1e-6);

      // The copy: the records the tool wrote, re-inserted into the same shape.
      const std::vector<std::string> shape = columnsOf(out, target);
      std::vector<std::string> expressions(shape.begin() + 1, shape.end());
      if (target.empty()) return fail(step.table + ": no records written");
      PlainCopy plain{out.string(), target, expressions, out.string(), target, (dir / "plain.sqlite").string()};
      PlainCopyResult copy, floor;
      if (!runPlainCopy(plain, &copy, &error)) return fail(step.table + ": " + error);
      plain.rowByRow = true;
      if (!runPlainCopy(plain, &floor, &error)) return fail(step.table + ": " + error);
      const double copySeconds = std::max(copy.cpuSeconds, 1e-6);
      toolCpu += cpu;
      copyCpu += copySeconds;
      floorCpu += floor.cpuSeconds;
      totalRows += rows;
      fmt::print("{:<14} {:<26} {:<28} {:>9} {:>11.0f} {:>11.0f} {:>6.2f}x {:>6.2f}x\n", s.kind->label, step.table,
                 target, rows, rows / cpu, rows / copySeconds, cpu / copySeconds, floor.cpuSeconds / copySeconds);
    }
  }
  const double migrating = all.child.cpuSeconds - setup.child.cpuSeconds;
  fmt::print("legacy rows converted      {}\n", totalRows);
  fmt::print("set-up (checks, schema, registries, report)  {:.2f} s CPU\n", setup.child.cpuSeconds);
  fmt::print("whole run                  {:.2f} s wall, {:.2f} s CPU; migration phase {:.2f} s CPU\n",
             all.child.seconds, all.child.cpuSeconds, migrating);
  fmt::print("plain copies, all tables   {:.2f} s CPU (tables one by one: tool {:.2f} s CPU)\n", copyCpu, toolCpu);
  fmt::print("ratio migration / copies   {:.2f}x CPU\n", migrating / copyCpu);
  fmt::print("row-by-row floor / copies  {:.2f}x CPU ({:.2f} s)\n", floorCpu / copyCpu, floorCpu);
  fmt::print("tool peak RSS              {:.1f} MiB (set-up alone {:.1f} MiB)\n", all.child.peakRssKiB / 1024.0,
             setup.child.peakRssKiB / 1024.0);
  return 0;
}

}  // namespace veq::bench
