// main.cpp — the veq-migrate command line: parses the options and hands
// them to the `run` or `fixtures` command. Exit status 2 for bad usage.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <iostream>

#include "cli/fixtures.h"
#include "cli/run_command.h"

namespace {

int runFixtures(const veq::FixtureOptions& options) {
  std::vector<veq::FixtureFile> written;
  std::string error;
  if (!veq::generateFixtures(options, &written, &error)) {
    std::cerr << fmt::format("veq-migrate: {}\n", error);
    return 2;
  }
  for (const veq::FixtureFile& file : written) {
    std::cout << (file.rows > 0 ? fmt::format("wrote {} ({} rows)\n", file.path, file.rows)
                                : fmt::format("wrote {}\n", file.path));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Migrates the legacy stores of the wearable SDK into its new database."};
  app.name("veq-migrate");
  app.set_version_flag("--version", std::string("veq-migrate ") + VEQ_VERSION);
  app.require_subcommand(1);

  veq::RunOptions run;
  std::string timeZone;
  CLI::App* runCommand = app.add_subcommand("run", "Migrate legacy stores into a new database");
  runCommand->add_option("--ios", run.iosPath, "Legacy iOS store (SQLite)");
  runCommand->add_option("--android", run.androidPath, "Legacy Android store (SQLite)");
  runCommand->add_option("--android-cloud", run.androidCloudPath, "Legacy Android cloud store (SQLite)");
  runCommand->add_option("--defaults", run.defaultsPath, "User defaults (JSON object); written back after the run");
  runCommand->add_option("--out", run.outPath, "New database, created or updated")->required();
  runCommand->add_option("--time-zone", timeZone, "IANA time zone of the legacy dates (default: the system's)");
  runCommand->add_option("--json", run.jsonPath, "Also write the report as JSON to this file");
  runCommand->add_option("--rejects", run.rejectsPath,
                         "Write each skipped or failed legacy row to this file (JSON lines)");

  veq::FixtureOptions fixtures;
  CLI::App* fixturesCommand = app.add_subcommand("fixtures", "Write generated legacy stores and defaults");
  fixturesCommand->add_option("--out", fixtures.outDir, "Directory to write into")->required();
  fixturesCommand->add_option("--days", fixtures.days, "Days of history per device")->check(CLI::Range(1, 100000));
  fixturesCommand->add_option("--devices", fixtures.devices, "Number of devices")->check(CLI::Range(1, 255));
  fixturesCommand->add_option("--seed", fixtures.seed, "Seed of the generated values");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }

  if (*fixturesCommand) return runFixtures(fixtures);
  if (runCommand->count("--time-zone") > 0) run.timeZone = timeZone;
  run.progress = isatty(STDERR_FILENO) == 1;
  return veq::runMigration(run, std::cout, std::cerr);
}
