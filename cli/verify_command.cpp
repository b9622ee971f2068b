// verify_command.cpp — an existing output compared with a fresh conversion.
#include "cli/verify_command.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <vector>

#include "cli/command_paths.h"
#include "cli/health_coverage.h"
#include "cli/html_report.h"
#include "cli/scratch_migration.h"
#include "files/verification.h"
#include "migration/migration_session.h"

namespace veq {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

ExitStatus verifyOutput(const VerifyOptions& options, std::ostream& out, std::ostream& err) {
  // What the next open of the output would hold: the output itself opened
  // immutable, or a recovered private copy when a log or journal lies beside
  // it (database_inspection.h). Either way the output is only read.
  std::shared_ptr<VEQFMDatabase> output;
  if (const Problem problem = openOutputToVerify(options.outPath, &output)) {
    err << fmt::format("veq-migrate: {}\n", *problem);
    return ExitStatus::kRefused;
  }
  if (const Problem overInput =
          reportOverInput("verify", options.stores, options.outPath, options.jsonPath, options.htmlPath)) {
    err << *overInput;
    return ExitStatus::kRefused;
  }
  ScratchMigration scratch(options.stores, "", err);
  if (scratch.status() == ExitStatus::kRefused) return ExitStatus::kRefused;

  VEQMigrationSession session;  // days in the stores' zone (resolved by the scratch run)
  VEQMigrationSession::Scope scope(session);
  session.setTimeZone(runTimeZone(options.stores));
  VEQFMDatabase db(scratch.databasePath());
  if (const Problem problem = attachOutput(db, options.outPath, *output)) {
    err << fmt::format("veq-migrate: {}\n", *problem);
    return ExitStatus::kRefused;
  }
  const std::vector<TableFindings> tables = compareWithOutput(db, options.examples);
  const bool ok = holdsEverything(tables);

  Json json = Json::array();
  out << fmt::format("{:<32} {:>9} {:>9} {:>9} {:>9} {:>9}\n", "new table", "expected", "output", "missing",
                     "differing", "extra");
  for (const TableFindings& c : tables) {
    out << fmt::format("{:<32} {:>9} {:>9} {:>9} {:>9} {:>9}\n", c.table, c.expected, c.output, c.missing, c.differing,
                       c.extra);
    for (const std::string& line : exampleLines(c)) out << "    " << line << "\n";
    json.push_back({{"table", c.table}, {"expected", c.expected}, {"output", c.output}, {"missing", c.missing},
                    {"differing", c.differing}, {"extra", c.extra}, {"examples", c.examples}});
  }
  const MigrationReport::Zone& zone = scratch.report().timeZone;
  out << fmt::format("time zone: {} ({})\n", zone.name, zone.source);
  out << (ok ? "the output holds everything the stores imply\n"
             : "the output does NOT hold everything the stores imply\n");

  if (!options.jsonPath.empty()) {
    std::ofstream file(options.jsonPath, std::ios::trunc);
    file << Json{{"tables", json}, {"time_zone", {{"name", zone.name}, {"source", zone.source}}}, {"ok", ok}}.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    if (!file) {
      err << fmt::format("veq-migrate: {}: cannot write the report\n", options.jsonPath);
      return ExitStatus::kRefused;
    }
  }
  if (!options.htmlPath.empty()) {
    db.executeUpdate("DETACH DATABASE o");
    HtmlReport page{"veq-migrate verify", scratch.report(), healthCoverage(db), healthCoverage(*output),
                    ok ? "The output holds everything the stores imply."
                       : "The output does NOT hold everything the stores imply.",
                    tables};
    if (const Problem problem = writeHtmlReport(page, options.htmlPath)) {
      err << fmt::format("veq-migrate: {}: {}\n", options.htmlPath, *problem);
      return ExitStatus::kRefused;
    }
  }
  return ok ? ExitStatus::kOk : ExitStatus::kFailures;
}

}  // namespace veq
