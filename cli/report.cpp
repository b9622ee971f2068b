// report.cpp — text and JSON forms of a run's outcome.
#include "cli/report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace veq {

bool MigrationReport::succeeded() const {
  return failedStatements == 0 &&
         std::none_of(tables.begin(), tables.end(), [](const TableOutcome& t) { return t.failed > 0; });
}

void printReport(const MigrationReport& report, std::ostream& out) {
  size_t width = 12;
  for (const TableOutcome& t : report.tables) width = std::max(width, t.store.size() + 1 + t.table.size());
  for (const auto& [table, count] : report.newRecords) width = std::max(width, table.size());

  out << fmt::format("{:<{}} {:>10} {:>10} {:>8}\n", "legacy table", width, "rows", "succeeded", "failed");
  for (const TableOutcome& t : report.tables) {
    out << fmt::format("{:<{}} {:>10} {:>10} {:>8}\n", t.store + " " + t.table, width, t.rows, t.succeeded, t.failed);
  }
  out << fmt::format("\n{:<{}} {:>10}\n", "new table", width, "records");
  for (const auto& [table, count] : report.newRecords) out << fmt::format("{:<{}} {:>10}\n", table, width, count);
  out << fmt::format("\nfailed statements: {}\n", report.failedStatements);
  for (const auto& [store, table] : report.notConverted) {
    out << fmt::format("not converted: {} {} (no conversion for this table)\n", store, table);
  }
  out << fmt::format("{} in {:.1f} s\n", report.succeeded() ? "migrated" : "migrated WITH FAILURES", report.seconds);
}

std::string reportJson(const MigrationReport& report) {
  using Json = nlohmann::ordered_json;
  Json tables = Json::array();
  for (const TableOutcome& t : report.tables) {
    tables.push_back(
        {{"store", t.store}, {"table", t.table}, {"rows", t.rows}, {"succeeded", t.succeeded}, {"failed", t.failed}});
  }
  Json records = Json::object();
  for (const auto& [table, count] : report.newRecords) records[table] = count;
  Json notConverted = Json::array();
  for (const auto& [store, table] : report.notConverted) notConverted.push_back({{"store", store}, {"table", table}});
  const Json json = {{"tables", tables},
                     {"new_records", records},
                     {"failed_statements", report.failedStatements},
                     {"not_converted", notConverted},
                     {"seconds", report.seconds},
                     {"ok", report.succeeded()}};
  return json.dump(2) + "\n";
}

}  // namespace veq
