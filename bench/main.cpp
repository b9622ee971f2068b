// main.cpp — veq_bench: the tool on a million legacy sport intervals against
// a plain SQL copy of the same rows.
//
//   1. `veq-migrate fixtures` writes a legacy iOS store (skipped with --reuse
//      when it is already there);
//   2. its "t_sport_item" table alone is copied into a store of its own, so
//      the tool's run measures that table and nothing else;
//   3. `veq-migrate run` migrates that store as a child process: wall time,
//      the report's own time and peak resident memory (wait4 rusage);
//   4. the same rows are copied with one INSERT … SELECT into a table shaped
//      like the new sport item table (same columns and indexes);
//   5. the same rows once more, one prepared INSERT per row (the floor of a
//      row-per-statement write, nothing looked up or converted);
//   6. rows per second of the tool and the copy, their ratio, the floor's
//      ratio and the tool's memory are printed.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "bench/child_process.h"
#include "bench/copies.h"
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

double reportSeconds(const fs::path& jsonPath) {
  std::ifstream in(jsonPath);
  const auto json = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
  return json.is_object() && json.contains("seconds") ? json["seconds"].get<double>() : 0;
}

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

}  // namespace

int main(int argc, char** argv) {
  std::string work = "/tmp/veq-bench", tool = siblingTool(), timeZone = "UTC";
  int days = 2900, devices = 4;
  uint64_t seed = 1;
  bool reuse = false, wholeStore = false;
  CLI::App app{"Times veq-migrate on legacy sport intervals against a plain SQL copy."};
  app.add_option("--work", work, "Working directory (fixtures and outputs)");
  app.add_option("--days", days, "Days of history per device");
  app.add_option("--devices", devices, "Devices");
  app.add_option("--seed", seed, "Fixture seed");
  app.add_option("--tool", tool, "Path of veq-migrate");
  app.add_option("--time-zone", timeZone, "Time zone the tool converts legacy days in");
  app.add_flag("--reuse", reuse, "Keep fixtures already in the working directory");
  app.add_flag("--whole-store", wholeStore,
               "Every store of a realistic user, table by table (default 1095 days, 2 devices)");
  CLI11_PARSE(app, argc, argv);
  if (wholeStore) {
    const bool defaultSize = app.count("--days") == 0 && app.count("--devices") == 0;
    return veq::bench::runWholeStore({work + "/whole-store", tool, timeZone, defaultSize ? 1095 : days,
                                      defaultSize ? 2 : devices, seed, reuse});
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

  fs::remove(migrated);
  const ChildResult run = veq::bench::runMeasured({tool, "run", "--ios", items.string(), "--out", migrated.string(),
                                                   "--time-zone", timeZone, "--json", report.string()},
                                                  "/dev/null");
  if (run.exitStatus != 0) return fail(fmt::format("veq-migrate run exited with {}", run.exitStatus));

  // Again on the migrated output: every record is found and updated.
  const ChildResult rerun = veq::bench::runMeasured({tool, "run", "--ios", items.string(), "--out",
                                                     migrated.string(), "--time-zone", timeZone},
                                                    "/dev/null");
  if (rerun.exitStatus != 0) return fail(fmt::format("second veq-migrate run exited with {}", rerun.exitStatus));

  veq::bench::PlainCopyResult copy, rowByRow;
  veq::bench::PlainCopy plainCopy{items.string(), "t_sport_item", kItemExpressions, migrated.string(),
                                  "health_sport_item", plain.string()};
  if (!veq::bench::runPlainCopy(plainCopy, &copy, &error)) return fail(error);
  plainCopy.rowByRow = true;
  if (!veq::bench::runPlainCopy(plainCopy, &rowByRow, &error)) return fail(error);

  const auto rows = static_cast<double>(copy.rows);  // every legacy interval
  const double migrateSeconds = reportSeconds(report);
  const double peakMiB = run.peakRssKiB / 1024.0;
  fmt::print("legacy t_sport_item rows   {}\n", copy.rows);
  fmt::print("veq-migrate run            {:.2f} s wall ({:.2f} s migrating), {:.2f} s CPU, {} records\n",
             run.seconds, migrateSeconds, run.cpuSeconds, newRecordCount(report, "health_sport_item"));
  fmt::print("plain INSERT … SELECT      {:.2f} s wall, {:.2f} s CPU\n", copy.seconds, copy.cpuSeconds);
  fmt::print("rows/s (wall, CPU)         tool {:.0f}, {:.0f}; plain {:.0f}, {:.0f}\n", rows / run.seconds,
             rows / run.cpuSeconds, rows / copy.seconds, rows / copy.cpuSeconds);
  fmt::print("ratio tool / plain         {:.2f}x wall, {:.2f}x CPU\n", run.seconds / copy.seconds,
             run.cpuSeconds / copy.cpuSeconds);
  fmt::print("row-by-row INSERT (floor)  {:.2f} s CPU, {:.2f}x the plain copy\n", rowByRow.cpuSeconds,
             rowByRow.cpuSeconds / copy.cpuSeconds);
  fmt::print("second run                 {:.2f} s CPU, {:.2f}x the first\n", rerun.cpuSeconds,
             rerun.cpuSeconds / run.cpuSeconds);
  fmt::print("tool peak RSS              {:.1f} MiB ({:.0f} bytes per legacy row)\n", peakMiB,
             run.peakRssKiB * 1024.0 / rows);
  return 0;
}
