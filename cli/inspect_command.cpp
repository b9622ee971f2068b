// inspect_command.cpp — the contents of the stores and a dry run over them.
#include "cli/inspect_command.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include <fstream>
#include <optional>
#include <set>

#include "cli/command_paths.h"
#include "files/database_inspection.h"
#include "cli/health_coverage.h"
#include "cli/html_report.h"
#include "cli/scratch_migration.h"
#include "migration/migration_plan.h"
#include "migration/migration_session.h"

namespace veq {

namespace {

using Json = nlohmann::ordered_json;

// Each store's tables and the devices its registry would hold.
Json describeStores(const RunOptions& options) {
  Json stores = Json::array();
  for (const LegacyStoreKind& kind : legacyStoreKinds()) {
    const std::string& path = storePath(options, kind);
    if (path.empty()) continue;
    std::shared_ptr<VEQFMDatabase> db;
    if (openCheckedDatabase(path, SQLITE_OPEN_READONLY, &db)) continue;  // the scratch run has refused it already
    std::set<std::string> converted;
    for (const MigrationStep& step : migrationSteps(kind)) converted.insert(step.table);
    Json tables = Json::array();
    for (const std::string& table : tableNames(*db)) {
      const char* status = table == kind.registryTable ? "registry" : converted.count(table) ? "converted" : "not converted";
      tables.push_back({{"table", table}, {"rows", rowCount(*db, table)}, {"status", status}});
    }
    VEQFMDatabaseQueue queue(db);
    Json devices = Json::array();
    for (const VEQDict& record : registryRecords(kind, &queue)) {
      Json device = Json::object();
      for (const RegistryColumn& column : kind.registryColumns) device[column.name] = record.stringForKey(column.name);
      devices.push_back(device);
    }
    stores.push_back({{"store", kind.label}, {"path", path}, {"tables", tables}, {"devices", devices}});
  }
  return stores;
}

Json describeHealth(const HealthCoverage& coverage) {
  Json health = Json::array();
  for (const auto& [device, kinds] : coverage) {
    for (const auto& [kind, days] : kinds) {
      health.push_back({{"kind", kind}, {"device", device}, {"first_day", *days.begin()},
                        {"last_day", *days.rbegin()}, {"days", days.size()}});
    }
  }
  return health;
}

void printInspection(const Json& stores, const Json& health, const MigrationReport& report, std::ostream& out) {
  for (const Json& store : stores) {
    out << fmt::format("store {} ({})\n", store["store"].get<std::string>(), store["path"].get<std::string>());
    for (const Json& t : store["tables"]) {
      out << fmt::format("  {:<32} {:>9}  {}\n", t["table"].get<std::string>(), t["rows"].get<int64_t>(),
                         t["status"].get<std::string>());
    }
    for (const Json& d : store["devices"]) {
      std::string line;
      for (const auto& [key, value] : d.items()) line += fmt::format(" {}={}", key, value.get<std::string>());
      out << "  device:" << line << "\n";
    }
    out << "\n";
  }
  out << fmt::format("time zone: {} ({})\n\n", report.timeZone.name, report.timeZone.source);
  out << "health history a migration gives (per new table and device)\n";
  for (const Json& h : health) {
    const std::string device = h["device"].get<std::string>();
    out << fmt::format("  {:<15} {:<20} {} .. {} {:>6} days\n", h["kind"].get<std::string>(),
                       device.empty() ? "(any device)" : device, h["first_day"].get<std::string>(),
                       h["last_day"].get<std::string>(), h["days"].get<size_t>());
  }
  out << "\nwhat a migration would do\n";
  printTableOutcomes(report, out);
}

}  // namespace

ExitStatus inspectStores(const InspectOptions& options, std::ostream& out, std::ostream& err) {
  if (const Problem overInput =
          reportOverInput("inspect", options.stores, options.existingOut, options.jsonPath, options.htmlPath)) {
    err << *overInput;
    return ExitStatus::kRefused;
  }
  // An existing output is judged by what its next open would hold (the
  // output immutable, or a recovered private copy when a log or journal lies
  // beside it); a refusal names the user's file, not the scratch copy.
  std::shared_ptr<VEQFMDatabase> existingOut;
  if (!options.existingOut.empty()) {
    if (const Problem problem = openCheckedDatabase(options.existingOut, SQLITE_OPEN_READONLY, &existingOut)) {
      err << fmt::format("veq-migrate: {}: {}\n", options.existingOut, *problem);
      return ExitStatus::kRefused;
    }
  }
  ScratchMigration scratch(options.stores, options.existingOut, err);
  if (scratch.status() == ExitStatus::kRefused) return ExitStatus::kRefused;

  VEQMigrationSession session;  // days in the stores' zone (resolved by the scratch run)
  VEQMigrationSession::Scope scope(session);
  session.setTimeZone(runTimeZone(options.stores));
  VEQFMDatabase converted(scratch.databasePath());
  converted.openWithFlags(SQLITE_OPEN_READONLY);
  const HealthCoverage coverage = healthCoverage(converted);
  const Json stores = describeStores(options.stores);
  const Json health = describeHealth(coverage);
  printInspection(stores, health, scratch.report(), out);

  if (!options.jsonPath.empty()) {
    const Json json = {{"stores", stores},
                       {"health", health},
                       {"prediction", Json::parse(reportJson(scratch.report()))}};
    std::ofstream file(options.jsonPath, std::ios::trunc);
    file << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    if (!file) {
      err << fmt::format("veq-migrate: {}: cannot write the report\n", options.jsonPath);
      return ExitStatus::kRefused;
    }
  }
  if (!options.htmlPath.empty()) {
    std::optional<HealthCoverage> existing;
    if (existingOut) existing = healthCoverage(*existingOut);
    HtmlReport page{"veq-migrate inspect", scratch.report(), coverage, existing,
                    "What migrating these stores would do; nothing was written.", {}};
    if (const Problem problem = writeHtmlReport(page, options.htmlPath)) {
      err << fmt::format("veq-migrate: {}: {}\n", options.htmlPath, *problem);
      return ExitStatus::kRefused;
    }
  }
  return ExitStatus::kOk;
}

}  // namespace veq
