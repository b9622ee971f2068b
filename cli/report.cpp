// report.cpp — text and JSON forms of a run's outcome.
#include "cli/report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace veq {

namespace {

using O = VEQRowOutcome;

// The outcomes in the order reports show them.
constexpr O kShown[] = {O::kInserted, O::kUpdated, O::kKept, O::kSkipped, O::kWriteFailed};

std::string_view shownName(O outcome) { return outcome == O::kWriteFailed ? "failed" : veqOutcomeName(outcome); }

}  // namespace

bool MigrationReport::succeeded() const {
  return failedStatements == 0 && problems.empty() && std::none_of(tables.begin(), tables.end(), [](const TableSummary& t) {
           return t.failed > 0 || t.rowsWith(O::kWriteFailed) > 0 || t.failedStatements > 0 || t.rolledBack;
         });
}

namespace {

size_t nameWidth(const MigrationReport& report) {
  size_t width = 12;
  for (const TableSummary& t : report.tables) width = std::max(width, t.store.size() + 1 + t.table.size());
  for (const auto& [table, count] : report.newRecords) width = std::max(width, table.size());
  return width;
}

}  // namespace

void printTableOutcomes(const MigrationReport& report, std::ostream& out) {
  const size_t width = nameWidth(report);

  out << fmt::format("{:<{}} {:>9}", "legacy table", width, "rows");
  for (O o : kShown) out << fmt::format(" {:>9}", shownName(o));
  out << fmt::format(" {:>11}\n", "failed sql");
  for (const TableSummary& t : report.tables) {
    out << fmt::format("{:<{}} {:>9}", t.store + " " + t.table, width, t.rows);
    for (O o : kShown) out << fmt::format(" {:>9}", t.rowsWith(o));
    out << fmt::format(" {:>11}\n", t.failedStatements);
    for (size_t r = 0; r < t.skipReasons.size(); ++r) {
      if (t.skipReasons[r] == 0) continue;
      const auto reason = static_cast<VEQSkipReason>(r);
      out << fmt::format("    skipped {}: {} ({})\n", t.skipReasons[r], veqSkipReasonName(reason),
                         veqSkipReasonText(reason));
    }
    if (t.rowsWith(O::kUnstated) > 0) out << fmt::format("    unstated {}\n", t.rowsWith(O::kUnstated));
    if (!t.firstError.empty()) out << fmt::format("    first failure: {}\n", t.firstError);
    if (t.rolledBack) out << "    ROLLED BACK: nothing of this table was kept\n";
  }
}

void printReport(const MigrationReport& report, std::ostream& out) {
  const size_t width = nameWidth(report);
  printTableOutcomes(report, out);
  out << fmt::format("\n{:<{}} {:>9}\n", "new table", width, "records");
  for (const auto& [table, count] : report.newRecords) out << fmt::format("{:<{}} {:>9}\n", table, width, count);
  out << fmt::format("\ntime zone: {} ({})\n", report.timeZone.name, report.timeZone.source);
  out << fmt::format("failed statements: {}\n", report.failedStatements);
  if (report.refusedLookups > 0) {
    out << fmt::format("refused look-ups: {} (legacy keys that would have changed the query; inserted as new)\n",
                       report.refusedLookups);
  }
  for (const std::string& problem : report.problems) out << fmt::format("problem: {}\n", problem);
  for (const auto& [store, table] : report.notConverted) {
    out << fmt::format("not converted: {} {} (no conversion for this table)\n", store, table);
  }
  out << fmt::format("{} in {:.1f} s\n", report.succeeded() ? "migrated" : "migrated WITH FAILURES", report.seconds);
}

std::string reportJson(const MigrationReport& report) {
  using Json = nlohmann::ordered_json;
  Json tables = Json::array();
  for (const TableSummary& t : report.tables) {
    Json outcomes = Json::object();
    for (O o : kShown) outcomes[std::string(shownName(o))] = t.rowsWith(o);
    if (t.rowsWith(O::kUnstated) > 0) outcomes["unstated"] = t.rowsWith(O::kUnstated);
    Json reasons = Json::object();
    for (size_t r = 0; r < t.skipReasons.size(); ++r) {
      if (t.skipReasons[r] > 0) reasons[std::string(veqSkipReasonName(static_cast<VEQSkipReason>(r)))] = t.skipReasons[r];
    }
    tables.push_back({{"store", t.store},
                      {"table", t.table},
                      {"rows", t.rows},
                      {"succeeded", t.succeeded},
                      {"failed", t.failed},
                      {"outcomes", outcomes},
                      {"skip_reasons", reasons},
                      {"failed_statements", t.failedStatements},
                      {"first_error", t.firstError},
                      {"rolled_back", t.rolledBack}});
  }
  Json records = Json::object();
  for (const auto& [table, count] : report.newRecords) records[table] = count;
  Json notConverted = Json::array();
  for (const auto& [store, table] : report.notConverted) notConverted.push_back({{"store", store}, {"table", table}});
  const Json json = {{"tables", tables},
                     {"new_records", records},
                     {"failed_statements", report.failedStatements},
                     {"refused_lookups", report.refusedLookups},
                     {"not_converted", notConverted},
                     {"problems", report.problems},
                     {"time_zone", {{"name", report.timeZone.name}, {"source", report.timeZone.source}}},
                     {"seconds", report.seconds},
                     {"ok", report.succeeded()}};
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace veq
