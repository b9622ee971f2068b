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

// The new tables that gained records between two runs, most first.
std::vector<std::string> gainedTables(const Records& before, const Records& after) {
  std::vector<std::pair<int64_t, std::string>> gained;
  for (const auto& [table, count] : after) {
    const auto old = before.find(table);
    const int64_t more = count - (old == before.end() ? 0 : old->second);
    if (more > 0) gained.emplace_back(-more, table);
  }
  std::sort(gained.begin(), gained.end());
  std::vector<std::string> tables;
  for (const auto& g : gained) tables.push_back(g.second);
  return tables;
}

// Tables with fewer rows than this are timed together, one group per store:
// alone, their CPU time is lost in the set-up it is taken from.
constexpr int64_t kOwnLine = 1000;

// Converted tables timed by one tool run: a big table alone, or a store's
// small tables together, extracted with the store's device table.
struct Group {
  const Store* store;
  std::vector<std::string> legacy;
  int64_t rows = 0;
  fs::path extract, out;
  std::vector<std::string> targets;  // the new tables its records went to (from the first repeat)
  std::string name() const {
    return legacy.size() == 1 ? legacy[0] : fmt::format("{} smaller tables", legacy.size());
  }
  std::string key() const { return store->kind->label + "." + name(); }
};

// Copies (or, with `rowByRow`, writes row by row) the records of every
// target table in `out`; returns the CPU seconds, or -1 with `error`.
double copyRecords(const Group& g, const fs::path& refPath, bool rowByRow, std::string* error) {
  double cpu = 0;
  for (const std::string& target : g.targets) {
    const std::vector<std::string> shape = columnsOf(g.out, target);
    PlainCopy plain{g.out.string(), target, std::vector<std::string>(shape.begin() + 1, shape.end()),
                    g.out.string(), target, refPath.string(), rowByRow};
    PlainCopyResult result;
    if (!runPlainCopy(plain, &result, error)) return -1;
    cpu += result.cpuSeconds;
  }
  return cpu;
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

  // Extracted once: every store reduced to its device table, and every
  // group of converted tables with its store's device table.
  std::string error;
  std::vector<std::pair<std::string, fs::path>> bare, whole;
  std::vector<Group> groups;
  for (const Store& s : stores) {
    const fs::path path = dir / (s.kind->label + ".bare.sqlite");
    if (!extractTables(s.path.string(), {s.kind->registryTable}, path.string(), &error)) return fail(error);
    bare.emplace_back(storeOption(*s.kind), path);
    whole.emplace_back(storeOption(*s.kind), s.path);
    Group small{&s, {}, 0, {}, {}, {}};
    for (const MigrationStep& step : migrationSteps(*s.kind)) {
      if (step.table == s.kind->registryTable) continue;
      const int64_t rows = rowCount(s.path, step.table);
      if (rows == 0) continue;
      Group& g = rows < kOwnLine ? small : groups.emplace_back(Group{&s, {}, 0, {}, {}, {}});
      g.legacy.push_back(step.table);
      g.rows += rows;
    }
    if (!small.legacy.empty()) groups.push_back(std::move(small));
  }
  for (Group& g : groups) {
    g.extract = dir / ("one." + g.key() + ".sqlite");
    g.out = dir / ("one." + g.key() + ".out.sqlite");
    std::vector<std::string> tables = g.legacy;
    tables.insert(tables.begin(), g.store->kind->registryTable);
    if (!extractTables(g.store->path.string(), tables, g.extract.string(), &error)) return fail(error);
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
    for (Group& g : groups) {
      const ToolRun& storeSetup = bareRuns[g.store->kind->label];
      ToolRun run;
      if (!runTool(o, {{storeOption(*g.store->kind), g.extract}}, defaults, g.out, &run))
        return fail("run of " + g.key() + " failed");
      if (g.targets.empty()) g.targets = gainedTables(storeSetup.records, run.records);
      if (g.targets.empty()) return fail(g.key() + ": no records written");
      const double cpu = std::max(run.child.cpuSeconds - storeSetup.child.cpuSeconds, 1e-6);

      // The copy and the floor: the records the tool has just written,
      // re-inserted into tables of the same shape.
      const double copy = std::max(copyRecords(g, dir / "plain.sqlite", false, &error), 1e-6);
      const double floor = copyRecords(g, dir / "plain.sqlite", true, &error);
      if (!error.empty()) return fail(g.key() + ": " + error);
      toolCpu += cpu;
      copyCpu += copy;
      floorCpu += floor;
      perTable.add(g.key() + " tool rows/s", g.rows / cpu);
      perTable.add(g.key() + " copy rows/s", g.rows / copy);
      perTable.add(g.key() + " ratio", cpu / copy);
      perTable.add(g.key() + " floor", floor / copy);
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
             "rows", "tool rows/s", "copy rows/s", "ratio", "ratio", "floor");
  fmt::print("{:<14} {:<26} {:<26} {:>9} {:>11} {:>11} {:>7} {:>7} {:>7}\n", "", "", "", "", "median", "median", "min",
             "median", "median");
  int64_t totalRows = 0;
  for (const Group& g : groups) {
    totalRows += g.rows;
    const std::string target = g.targets.size() == 1 ? g.targets[0] : fmt::format("{} tables", g.targets.size());
    fmt::print("{:<14} {:<26} {:<26} {:>9} {:>11.0f} {:>11.0f} {:>6.2f}x {:>6.2f}x {:>6.2f}x\n", g.store->kind->label,
               g.name(), target, g.rows, perTable.median(g.key() + " tool rows/s"),
               perTable.median(g.key() + " copy rows/s"), perTable.min(g.key() + " ratio"),
               perTable.median(g.key() + " ratio"), perTable.median(g.key() + " floor"));
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
