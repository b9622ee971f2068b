// main.cpp — the veq-migrate command line: parses the options and hands
// them to the `run`, `inspect`, `verify` or `fixtures` command. Bad usage
// is refused (exit_status.h).
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include <iostream>
#include <vector>

#include "cli/exit_status.h"
#include "fixtures/fixtures.h"
#include "cli/inspect_command.h"
#include "cli/progress.h"
#include "cli/run_command.h"
#include "cli/verify_command.h"
#include "collaborators/fmdb.h"

namespace {

constexpr const char* kCommands = "run, inspect, verify or fixtures";

using veq::ExitStatus;

int exitCode(ExitStatus status) { return static_cast<int>(status); }

ExitStatus runFixtures(const veq::FixtureOptions& options) {
  std::vector<veq::FixtureFile> written;
  std::string error;
  if (!veq::generateFixtures(options, &written, &error)) {
    std::cerr << fmt::format("veq-migrate: {}\n", error);
    return ExitStatus::kRefused;
  }
  for (const veq::FixtureFile& file : written) {
    std::cout << (file.rows > 0 ? fmt::format("wrote {} ({} rows)\n", file.path, file.rows)
                                : fmt::format("wrote {}\n", file.path));
  }
  return ExitStatus::kOk;
}

int usageError(const std::string& problem) {
  std::cerr << fmt::format("veq-migrate: {}\nRun with --help for more information.\n", problem);
  return exitCode(ExitStatus::kRefused);
}

// The first argument no command took, named for what it looks like.
std::string unexpectedArgument(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands()) {
    if (!command->remaining().empty()) {
      const std::string arg = command->remaining().front();
      return fmt::format("{}: unknown {} '{}'", command->get_name(), arg.rfind('-', 0) == 0 ? "option" : "argument",
                         arg);
    }
  }
  const std::vector<std::string> rest = app.remaining();
  const std::string arg = rest.empty() ? "" : rest.front();
  if (arg.rfind('-', 0) == 0) return fmt::format("unknown option '{}' (expected a subcommand: {})", arg, kCommands);
  return fmt::format("unknown subcommand '{}' (expected {})", arg, kCommands);
}

// The options that name the legacy stores, the defaults and the zone.
void addStoreOptions(CLI::App* command, veq::RunOptions* stores, std::string* timeZone) {
  command->add_option("--ios", stores->iosPath, "Legacy iOS store (SQLite)");
  command->add_option("--android", stores->androidPath, "Legacy Android store (SQLite)");
  command->add_option("--android-cloud", stores->androidCloudPath, "Legacy Android cloud store (SQLite)");
  command->add_option("--defaults", stores->defaultsPath, "User defaults (JSON object)");
  command->add_option("--time-zone", *timeZone, "IANA time zone of the legacy dates (default: the platform's local time)");
}

// `inspect` and `verify` read the stores and one output and write only the
// reports asked for; they differ in what their --out is for.
template <class Options>
CLI::App* addCheckingCommand(CLI::App& app, const char* name, const char* description, Options* options,
                             std::string Options::*out, const char* outHelp, std::string* timeZone) {
  CLI::App* command = app.add_subcommand(name, description);
  addStoreOptions(command, &options->stores, timeZone);
  command->add_option("--out", options->*out, outHelp);
  command->add_option("--json", options->jsonPath, "Also write the result as JSON to this file");
  command->add_option("--html", options->htmlPath, "Also write the result as one HTML page to this file");
  return command;
}

}  // namespace

int main(int argc, char** argv) {
  // Before any connection: SQLite's allocation statistics cost every row.
  veq::VEQFMDatabase::disableMemoryStatistics();
  CLI::App app{"Migrates the legacy stores of the wearable SDK into its new database."};
  app.name("veq-migrate");
  app.set_version_flag("--version", std::string("veq-migrate ") + VEQ_VERSION);
  // Subcommand and --out are checked after parsing, so that an unknown
  // option or subcommand is named instead of "a subcommand is required".
  app.require_subcommand(0, 1);

  veq::RunOptions run;
  std::string timeZone;
  CLI::App* runCommand = app.add_subcommand("run", "Migrate legacy stores into a new database");
  addStoreOptions(runCommand, &run, &timeZone);
  runCommand->add_option("--out", run.outPath, "New database, created or updated (required)");
  runCommand->add_option("--json", run.jsonPath, "Also write the report as JSON to this file");
  runCommand->add_option("--rejects", run.rejectsPath,
                         "Write each skipped or failed legacy row to this file (JSON lines)");
  runCommand->add_option("--html", run.htmlPath, "Also write the report as one HTML page");
  bool quiet = false, progress = false;
  runCommand->add_flag("--quiet", quiet, "Print only errors (the report still goes to --json)");
  runCommand->add_flag("--progress", progress, "Draw the progress line even when stderr is not a terminal");
  double lockWaitSeconds = 10;
  runCommand->add_option("--lock-wait", lockWaitSeconds, "Seconds to wait for another process's lock on --out")
      ->check(CLI::Range(0.0, 3600.0));

  veq::InspectOptions inspect;
  CLI::App* inspectCommand = addCheckingCommand(
      app, "inspect", "Show what the stores hold and what a migration would do; write nothing", &inspect,
      &veq::InspectOptions::existingOut, "Predict for this existing output (it is not changed)", &timeZone);
  veq::VerifyOptions verify;
  CLI::App* verifyCommand = addCheckingCommand(
      app, "verify", "Check that an output holds everything the stores imply", &verify, &veq::VerifyOptions::outPath,
      "The output to check (required; it is not changed)", &timeZone);

  veq::FixtureOptions fixtures;
  CLI::App* fixturesCommand = app.add_subcommand("fixtures", "Write generated legacy stores and defaults");
  fixturesCommand->add_option("--out", fixtures.outDir, "Directory to write into (required)");
  fixturesCommand->add_option("--days", fixtures.days, "Days of history per device")->check(CLI::Range(1, 100000));
  fixturesCommand->add_option("--devices", fixtures.devices, "Number of devices")->check(CLI::Range(1, 255));
  fixturesCommand->add_option("--seed", fixtures.seed, "Seed of the generated values");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ExtrasError&) {
    return usageError(unexpectedArgument(app));
  } catch (const CLI::ParseError& e) {
    return exitCode(app.exit(e) == 0 ? ExitStatus::kOk : ExitStatus::kRefused);
  }
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  if (chosen.empty()) return usageError(fmt::format("a subcommand is required: {}", kCommands));
  CLI::App* command = chosen.front();
  if (command != inspectCommand && command->count("--out") == 0) {
    return usageError(command->get_name() + ": --out is required");
  }
  if (command != fixturesCommand && command->count("--time-zone") > 0) {
    run.timeZone = inspect.stores.timeZone = verify.stores.timeZone = timeZone;
  }

  if (command == fixturesCommand) return exitCode(runFixtures(fixtures));
  if (command == inspectCommand) return exitCode(veq::inspectStores(inspect, std::cout, std::cerr));
  if (command == verifyCommand) return exitCode(veq::verifyOutput(verify, std::cout, std::cerr));
  run.quiet = quiet;
  run.progress = !quiet && (progress || isatty(STDERR_FILENO) == 1);
  if (run.progress) veq::ProgressLine::installInterruptCleanup(STDERR_FILENO);
  run.lockWait = std::chrono::milliseconds(static_cast<int64_t>(lockWaitSeconds * 1000));
  return exitCode(veq::runMigration(run, std::cout, std::cerr));
}
