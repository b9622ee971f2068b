// main.cpp — the veq-migrate command line: parses the options and hands
// them to the `run` or `fixtures` command. Exit status 2 for bad usage.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <iostream>

#include "cli/fixtures.h"
#include "cli/progress.h"
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

int usageError(const std::string& problem) {
  std::cerr << fmt::format("veq-migrate: {}\nRun with --help for more information.\n", problem);
  return 2;
}

// The first argument no command took, named for what it looks like.
std::string unexpectedArgument(CLI::App& app, CLI::App* runCommand, CLI::App* fixturesCommand) {
  for (CLI::App* command : {runCommand, fixturesCommand}) {
    if (*command && !command->remaining().empty()) {
      const std::string arg = command->remaining().front();
      return fmt::format("{}: unknown {} '{}'", command->get_name(), arg.rfind('-', 0) == 0 ? "option" : "argument",
                         arg);
    }
  }
  const std::vector<std::string> rest = app.remaining();
  const std::string arg = rest.empty() ? "" : rest.front();
  if (arg.rfind('-', 0) == 0) return fmt::format("unknown option '{}' (expected a subcommand: run or fixtures)", arg);
  return fmt::format("unknown subcommand '{}' (expected run or fixtures)", arg);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Migrates the legacy stores of the wearable SDK into its new database."};
  app.name("veq-migrate");
  app.set_version_flag("--version", std::string("veq-migrate ") + VEQ_VERSION);
  // Subcommand and --out are checked after parsing, so that an unknown
  // option or subcommand is named instead of "a subcommand is required".
  app.require_subcommand(0, 1);

  veq::RunOptions run;
  std::string timeZone;
  CLI::App* runCommand = app.add_subcommand("run", "Migrate legacy stores into a new database");
  runCommand->add_option("--ios", run.iosPath, "Legacy iOS store (SQLite)");
  runCommand->add_option("--android", run.androidPath, "Legacy Android store (SQLite)");
  runCommand->add_option("--android-cloud", run.androidCloudPath, "Legacy Android cloud store (SQLite)");
  runCommand->add_option("--defaults", run.defaultsPath, "User defaults (JSON object); written back after the run");
  runCommand->add_option("--out", run.outPath, "New database, created or updated (required)");
  runCommand->add_option("--time-zone", timeZone, "IANA time zone of the legacy dates (default: the system's)");
  runCommand->add_option("--json", run.jsonPath, "Also write the report as JSON to this file");
  runCommand->add_option("--rejects", run.rejectsPath,
                         "Write each skipped or failed legacy row to this file (JSON lines)");
  bool quiet = false, progress = false;
  runCommand->add_flag("--quiet", quiet, "Print only errors (the report still goes to --json)");
  runCommand->add_flag("--progress", progress, "Draw the progress line even when stderr is not a terminal");
  double lockWaitSeconds = 10;
  runCommand->add_option("--lock-wait", lockWaitSeconds, "Seconds to wait for another process's lock on --out")
      ->check(CLI::Range(0.0, 3600.0));

  veq::FixtureOptions fixtures;
  CLI::App* fixturesCommand = app.add_subcommand("fixtures", "Write generated legacy stores and defaults");
  fixturesCommand->add_option("--out", fixtures.outDir, "Directory to write into (required)");
  fixturesCommand->add_option("--days", fixtures.days, "Days of history per device")->check(CLI::Range(1, 100000));
  fixturesCommand->add_option("--devices", fixtures.devices, "Number of devices")->check(CLI::Range(1, 255));
  fixturesCommand->add_option("--seed", fixtures.seed, "Seed of the generated values");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ExtrasError&) {
    return usageError(unexpectedArgument(app, runCommand, fixturesCommand));
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  if (!*runCommand && !*fixturesCommand) return usageError("a subcommand is required: run or fixtures");
  CLI::App* chosen = *runCommand ? runCommand : fixturesCommand;
  if (chosen->count("--out") == 0) return usageError(chosen->get_name() + ": --out is required");

  if (*fixturesCommand) return runFixtures(fixtures);
  if (runCommand->count("--time-zone") > 0) run.timeZone = timeZone;
  run.quiet = quiet;
  run.progress = !quiet && (progress || isatty(STDERR_FILENO) == 1);
  if (run.progress) veq::ProgressLine::installInterruptCleanup(STDERR_FILENO);
  run.lockWait = std::chrono::milliseconds(static_cast<int64_t>(lockWaitSeconds * 1000));
  return veq::runMigration(run, std::cout, std::cerr);
}
