// html_report.h — the run, inspect and verify reports as one page to look at.
//
// writeHtmlReport writes a single self-contained HTML file (inline CSS and
// SVG; no scripts, fonts or anything fetched): a summary line, the
// per-legacy-table counts (rows, inserted, updated, kept, skipped with the
// reasons, failed), and per device a calendar strip for each kind of health
// data (sport, sleep, heart rate, blood pressure, GPS, weight, activity):
// one cell per day from the first to the last day seen (a stretch of more
// than two weeks without any data shows as one break, "…"), coloured by
// where that day's data is:
//     both        in the legacy stores and in the new database
//     stores only in the stores but not in the new database (a gap)
//     new only    in the new database only
//     neither     no data that day
// "The stores" means what converting them gives (scratch_migration.h), so
// both sides are counted in the same records. A side that a command does not
// have (inspect without an existing output) is left out, and the strips then
// show the stores alone.
//
// `verify` adds its findings (the same as its text and JSON carry): per new
// table the records expected, in the output, missing, differing and extra,
// and the examples of each kind; tables with something missing or differing
// are marked. Above the calendars, so that what failed is seen first.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/health_coverage.h"
#include "files/problem.h"
#include "files/verification.h"
#include "cli/report.h"

namespace veq {

// The examples of a table as lines "<kind>: <record as JSON>".
std::vector<std::string> exampleLines(const TableFindings& findings);

struct HtmlReport {
  std::string title;
  const MigrationReport& report;
  HealthCoverage stores;                 // days the legacy stores give
  std::optional<HealthCoverage> output;  // days the new database holds
  std::string summary;                   // one line under the title
  std::vector<TableFindings> findings;   // verify's; empty for run and inspect
};

// Writes the page to `path`.
Problem writeHtmlReport(const HtmlReport& page, const std::string& path);

// The page as text (what writeHtmlReport writes).
std::string htmlReportText(const HtmlReport& page);

}  // namespace veq
