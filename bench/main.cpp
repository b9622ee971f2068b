// main.cpp — veq_bench: the tool on a million legacy sport intervals against
// a plain SQL copy of the same rows.
//
//   1. `veq-migrate fixtures` writes a legacy iOS store (skipped with --reuse
//      when it is already there);
//   2. its "t_sport_item" table alone is copied into a store of its own, so
//      the tool's run measures that table and nothing else;
//   3. then, --repeats times, one after the other:
//      a. `veq-migrate run` migrates that store into a fresh output as a
//         child process: wall time, CPU time and peak resident memory (wait4
//         rusage);
//      b. the same once more on its own output: every record is found and
//         updated;
//      c. the same rows are copied with one INSERT … SELECT into a table
//         shaped like the new sport item table (same columns and indexes);
//      d. the same rows once more, one prepared INSERT per row (the floor of
//         a row-per-statement write, nothing looked up or converted);
//   4. the ratios taken within each repeat, the CPU seconds and the peak
//      memory are printed as min and median over the repeats (series.h),
//      with the load average at the start and the end.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "bench/child_process.h"
#include "bench/copies.h"
#include "bench/series.h"
#include "bench/whole_store.h"

namespace fs = std::filesystem;
using veq::bench::ChildResult;

namespace {

// The benchmark is built next to the tool.
std::string siblingTool() { return (fs::read_symlink("/proc/self/exe").parent_path() / "veq-migrate").string(); }

// The new sport item record from a legacy interval with nothing converted:
// the six base values, then the eight values in the record's order.
const std::vector<std::string> kItemExpressions = {
    "1", "''", "''", "''", "''", "''",
    "smart_device_id", "serial_number", "date", "distance", "calories", "active_time", "sport_count", "mode"};

int64_t newRecordCount(const fs::path& jsonPath, const std::string& table) {
  std::ifstream in(jsonPath);
  const auto json = nlohmann::json::parse(in, nullptr, false);
  if (!json.is_object() || !json.contains("new_records")) return -1;
  return json["new_records"].value(table, int64_t{-1});
}

int fail(const std::string& message) {
  fmt::print(stderr, "veq_bench: {}\n", message);
  return 1;
}

// Targets the benchmark prints its medians against.
constexpr double kFirstRunPerCopy = 2.0, kSecondPerFirst = 1.1, kPeakMiB = 16;

const char* verdict(bool met) { return met ? "met" : "NOT met"; }

}  // namespace

int main(int argc, char** argv) {
  std::string work = "/tmp/veq-bench", tool = siblingTool(), timeZone = "UTC";
  int days = 2900, devices = 4, repeats = 5;
  uint64_t seed = 1;
  bool reuse = false, wholeStore = false;
  CLI::App app{"Times veq-migrate on legacy sport intervals against a plain SQL copy."};
  app.add_option("--work", work, "Working directory (fixtures and outputs)");
  app.add_option("--days", days, "Days of history per device");
  app.add_option("--devices", devices, "Devices");
  app.add_option("--seed", seed, "Fixture seed");
  app.add_option("--repeats", repeats, "Repeats of tool, copy and floor, one after the other")
      ->check(CLI::PositiveNumber);
  app.add_option("--tool", tool, "Path of veq-migrate");
  app.add_option("--time-zone", timeZone, "Time zone the tool converts legacy days in");
  app.add_flag("--reuse", reuse, "Keep fixtures already in the working directory");
  app.add_flag("--whole-store", wholeStore,
               "Every store of a realistic user, table by table (default 1095 days, 2 devices)");
  CLI11_PARSE(app, argc, argv);
  if (wholeStore) {
    const bool defaultSize = app.count("--days") == 0 && app.count("--devices") == 0;
    return veq::bench::runWholeStore({work + "/whole-store", tool, timeZone, defaultSize ? 1095 : days,
                                      defaultSize ? 2 : devices, seed, reuse, repeats});
  }

  const fs::path dir = work, fixtures = dir / "fixtures", legacy = fixtures / "ios.sqlite";
  const fs::path items = dir / "sport_items.sqlite", migrated = dir / "migrated.sqlite";
  const fs::path report = dir / "report.json", plain = dir / "plain.sqlite";
  fs::create_directories(dir);

  if (!(reuse && fs::exists(legacy))) {
    const ChildResult made = veq::bench::runMeasured({tool, "fixtures", "--out", fixtures.string(), "--days",
                                                      std::to_string(days), "--devices", std::to_string(devices),
                                                      "--seed", std::to_string(seed)},
                                                     "/dev/null");
    if (made.exitStatus != 0) return fail("fixtures failed");
    fmt::print("fixtures   {:.1f} s\n", made.seconds);
  }
  std::string error;
  if (!veq::bench::extractTables(legacy.string(), {"t_sport_item"}, items.string(), &error)) return fail(error);

  const std::string loadAtStart = veq::bench::loadAverage();
  veq::bench::Series cpu, ratios, memory;
  veq::bench::PlainCopyResult copy, floor;
  for (int repeat = 1; repeat <= repeats; ++repeat) {
    fs::remove(migrated);
    const ChildResult run = veq::bench::runMeasured({tool, "run", "--ios", items.string(), "--out",
                                                     migrated.string(), "--time-zone", timeZone, "--json",
                                                     report.string()},
                                                    "/dev/null");
    if (run.exitStatus != 0) return fail(fmt::format("veq-migrate run exited with {}", run.exitStatus));
    const ChildResult rerun = veq::bench::runMeasured({tool, "run", "--ios", items.string(), "--out",
                                                       migrated.string(), "--time-zone", timeZone},
                                                      "/dev/null");
    if (rerun.exitStatus != 0) return fail(fmt::format("second veq-migrate run exited with {}", rerun.exitStatus));
    veq::bench::PlainCopy plainCopy{items.string(), "t_sport_item", kItemExpressions, migrated.string(),
                                    "health_sport_item", plain.string()};
    if (!veq::bench::runPlainCopy(plainCopy, &copy, &error)) return fail(error);
    plainCopy.rowByRow = true;
    if (!veq::bench::runPlainCopy(plainCopy, &floor, &error)) return fail(error);

    fmt::print("repeat {}/{}: first run {:.2f} s, second {:.2f} s, copy {:.2f} s, floor {:.2f} s CPU; load {}\n",
               repeat, repeats, run.cpuSeconds, rerun.cpuSeconds, copy.cpuSeconds, floor.cpuSeconds,
               veq::bench::loadAverage());
    cpu.add("tool, first run", run.cpuSeconds);
    cpu.add("tool, second run", rerun.cpuSeconds);
    cpu.add("plain INSERT … SELECT", copy.cpuSeconds);
    cpu.add("row-by-row INSERT (floor)", floor.cpuSeconds);
    ratios.add("first run / plain copy", run.cpuSeconds / copy.cpuSeconds);
    ratios.add("first run / row-by-row floor", run.cpuSeconds / floor.cpuSeconds);
    ratios.add("row-by-row floor / plain copy", floor.cpuSeconds / copy.cpuSeconds);
    ratios.add("second run / first run", rerun.cpuSeconds / run.cpuSeconds);
    ratios.add("first run / plain copy, wall", run.seconds / copy.seconds);
    memory.add("peak RSS, first run", run.peakRssKiB / 1024.0);
    memory.add("peak RSS, second run", rerun.peakRssKiB / 1024.0);
  }

  const double peak = std::max(memory.median("peak RSS, first run"), memory.median("peak RSS, second run"));
  fmt::print("\nlegacy t_sport_item rows   {} ({} records written)\n", copy.rows,
             newRecordCount(report, "health_sport_item"));
  fmt::print("load average               {} at the start, {} at the end\n", loadAtStart, veq::bench::loadAverage());
  fmt::print("CPU seconds over {} repeats\n{}", repeats, cpu.table(" s", 2));
  fmt::print("ratios within a repeat (CPU unless marked)\n{}", ratios.table("x", 2));
  fmt::print("tool memory\n{}", memory.table(" MiB", 1));
  fmt::print("targets (medians): first run ≤ {:.1f}x the copy: {}; below the floor: {}; second run ≤ {:.1f}x the "
             "first: {}; peak RSS ≤ {:.0f} MiB: {}\n",
             kFirstRunPerCopy, verdict(ratios.median("first run / plain copy") <= kFirstRunPerCopy),
             verdict(ratios.median("first run / row-by-row floor") < 1), kSecondPerFirst,
             verdict(ratios.median("second run / first run") <= kSecondPerFirst), kPeakMiB,
             verdict(peak <= kPeakMiB));
  return 0;
}
