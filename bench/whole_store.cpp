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
#include "bench/series.h"
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

// A converted table, extracted with its store's device table.
struct Table {
  const Store* store;
  std::string legacy;
  int64_t rows = 0;
  fs::path extract, out;
  std::string target;  // the new table of its records (from the first repeat)
  std::string key() const { return store->kind->label + "." + legacy; }
};

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

  // Extracted once: every store reduced to its device table, and every
  // converted table with its store's device table.
  std::string error;
  std::vector<std::pair<std::string, fs::path>> bare, whole;
  std::vector<Table> tables;
  for (const Store& s : stores) {
    const fs::path path = dir / (s.kind->label + ".bare.sqlite");
    if (!extractTables(s.path.string(), {s.kind->registryTable}, path.string(), &error)) return fail(error);
    bare.emplace_back(storeOption(*s.kind), path);
    whole.emplace_back(storeOption(*s.kind), s.path);
    for (const MigrationStep& step : migrationSteps(*s.kind)) {
      if (step.table == s.kind->registryTable) continue;
      Table t{&s, step.table, rowCount(s.path, step.table), {}, {}, {}};
      if (t.rows == 0) continue;
      t.extract = dir / ("one." + t.key() + ".sqlite");
      t.out = dir / ("one." + t.key() + ".out.sqlite");
      if (!extractTables(s.path.string(), {s.kind->registryTable, step.table}, t.extract.string(), &error))
        return fail(error);
      tables.push_back(std::move(t));
    }
  }

  const std::string loadAtStart = loadAverage();
  Series perTable, ratios, seconds, memory;  // perTable by "<table key> <figure>"
  for (int repeat = 1; repeat <= o.repeats; ++repeat) {
    std::map<std::string, ToolRun> bareRuns;  // by store label
    for (size_t i = 0; i < stores.size(); ++i)
      if (!runTool(o, {bare[i]}, defaults, dir / "bare.out.sqlite", &bareRuns[stores[i].kind->label]))
        return fail("set-up run of " + stores[i].kind->label + " failed");
    ToolRun setup, all;
    if (!runTool(o, bare, defaults, dir / "setup.out.sqlite", &setup)) return fail("set-up run failed");
    if (!runTool(o, whole, defaults, dir / "whole.out.sqlite", &all)) return fail("whole run failed");

    double toolCpu = 0, copyCpu = 0, floorCpu = 0;
    for (Table& t : tables) {
      const ToolRun& storeSetup = bareRuns[t.store->kind->label];
      ToolRun run;
      if (!runTool(o, {{storeOption(*t.store->kind), t.extract}}, defaults, t.out, &run))
        return fail("run of " + t.legacy + " failed");
      if (t.target.empty()) t.target = mainTarget(storeSetup.records, run.records);
      if (t.target.empty()) return fail(t.legacy + ": no records written");
      const double cpu = std::max(run.child.cpuSeconds - storeSetup.child.cpuSeconds, 1e-6);

      // The copy: the records the tool has just written, re-inserted into the same shape.
      const std::vector<std::string> shape = columnsOf(t.out, t.target);
      const std::vector<std::string> expressions(shape.begin() + 1, shape.end());
      PlainCopy plain{t.out.string(), t.target, expressions, t.out.string(), t.target, (dir / "plain.sqlite").string()};
      PlainCopyResult copy, floor;
      if (!runPlainCopy(plain, &copy, &error)) return fail(t.legacy + ": " + error);
      plain.rowByRow = true;
      if (!runPlainCopy(plain, &floor, &error)) return fail(t.legacy + ": " + error);
      const double copySeconds = std::max(copy.cpuSeconds, 1e-6);
      toolCpu += cpu;
      copyCpu += copySeconds;
      floorCpu += floor.cpuSeconds;
      perTable.add(t.key() + " tool rows/s", t.rows / cpu);
      perTable.add(t.key() + " copy rows/s", t.rows / copySeconds);
      perTable.add(t.key() + " ratio", cpu / copySeconds);
      perTable.add(t.key() + " floor", floor.cpuSeconds / copySeconds);
    }
    const double migrating = all.child.cpuSeconds - setup.child.cpuSeconds;
    fmt::print("repeat {}/{}: migration phase {:.2f} s, copies {:.2f} s, floor {:.2f} s CPU; load {}\n", repeat,
               o.repeats, migrating, copyCpu, floorCpu, loadAverage());
    ratios.add("migration phase / copies", migrating / copyCpu);
    ratios.add("tables one by one / copies", toolCpu / copyCpu);
    ratios.add("row-by-row floor / copies", floorCpu / copyCpu);
    ratios.add("migration phase / floor", migrating / floorCpu);
    seconds.add("migration phase", migrating);
    seconds.add("copies, all tables", copyCpu);
    seconds.add("set-up", setup.child.cpuSeconds);
    memory.add("peak RSS, whole run", all.child.peakRssKiB / 1024.0);
    memory.add("peak RSS, set-up alone", setup.child.peakRssKiB / 1024.0);
  }

  fmt::print("\n{:<14} {:<26} {:<26} {:>9} {:>11} {:>11} {:>7} {:>7} {:>7}\n", "store", "legacy table", "new table",
             "rows", "tool rows/s", "copy rows/s", "ratio", "median", "floor");
  fmt::print("{:<14} {:<26} {:<26} {:>9} {:>11} {:>11} {:>7} {:>7} {:>7}\n", "", "", "", "", "median", "median", "min",
             "", "median");
  int64_t totalRows = 0;
  for (const Table& t : tables) {
    totalRows += t.rows;
    fmt::print("{:<14} {:<26} {:<26} {:>9} {:>11.0f} {:>11.0f} {:>6.2f}x {:>6.2f}x {:>6.2f}x\n", t.store->kind->label,
               t.legacy, t.target, t.rows, perTable.median(t.key() + " tool rows/s"),
               perTable.median(t.key() + " copy rows/s"), perTable.min(t.key() + " ratio"),
               perTable.median(t.key() + " ratio"), perTable.median(t.key() + " floor"));
  }
  fmt::print("\nlegacy rows converted      {}\n", totalRows);
  fmt::print("load average               {} at the start, {} at the end\n", loadAtStart, loadAverage());
  fmt::print("whole store over {} repeats: CPU seconds\n{}", o.repeats, seconds.table(" s", 2));
  fmt::print("ratios of CPU within a repeat\n{}", ratios.table("x", 2));
  fmt::print("tool memory\n{}", memory.table(" MiB", 1));
  const double ratio = ratios.median("migration phase / copies"), peak = memory.median("peak RSS, whole run");
  fmt::print("targets (medians): migration phase ≤ 2.5x the copies: {}; peak RSS ≤ 16 MiB: {}\n",
             ratio <= 2.5 ? "met" : "NOT met", peak <= 16 ? "met" : "NOT met");
  return 0;
}

}  // namespace veq::bench
