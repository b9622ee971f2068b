// html_report.cpp — one self-contained page with the counts and calendars.
#include "cli/html_report.h"

#include <date/date.h>
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <set>
#include <vector>

namespace veq {

namespace {

constexpr int kCell = 4;    // px per day
constexpr int kStrip = 10;  // px per strip row

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

date::sys_days parseDay(const std::string& ymd) {
  int y = 0;
  unsigned m = 0, d = 0;
  std::sscanf(ymd.c_str(), "%d-%u-%u", &y, &m, &d);
  return date::sys_days{date::year{y} / date::month{m} / date::day{d}};
}

const std::set<std::string>& daysOf(const HealthCoverage& coverage, const std::string& device, const std::string& kind) {
  static const std::set<std::string> none;
  const auto d = coverage.find(device);
  if (d == coverage.end()) return none;
  const auto k = d->second.find(kind);
  return k == d->second.end() ? none : k->second;
}

std::string countsTable(const MigrationReport& report) {
  std::string html =
      "<table><tr><th>legacy table</th><th>rows</th><th>inserted</th><th>updated</th><th>kept</th>"
      "<th>skipped</th><th>failed</th><th>failed SQL</th></tr>\n";
  for (const TableSummary& t : report.tables) {
    using O = VEQRowOutcome;
    const bool bad = t.rowsWith(O::kWriteFailed) > 0 || t.failedStatements > 0 || t.rolledBack;
    html += fmt::format(
        "<tr{}><td>{} {}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td></tr>\n",
        bad ? " class=\"bad\"" : "", escaped(t.store), escaped(t.table), t.rows, t.rowsWith(O::kInserted),
        t.rowsWith(O::kUpdated), t.rowsWith(O::kKept), t.rowsWith(O::kSkipped), t.rowsWith(O::kWriteFailed),
        t.failedStatements);
    for (size_t r = 0; r < t.skipReasons.size(); ++r) {
      if (t.skipReasons[r] == 0) continue;
      html += fmt::format("<tr class=\"reason\"><td colspan=\"8\">skipped {}: {}</td></tr>\n", t.skipReasons[r],
                          escaped(veqSkipReasonText(static_cast<VEQSkipReason>(r))));
    }
  }
  return html + "</table>\n";
}

std::string findingsTable(const std::vector<TableFindings>& findings) {
  std::string html =
      "<table id=\"findings\"><tr><th>new table</th><th>expected</th><th>output</th><th>missing</th>"
      "<th>differing</th><th>extra</th></tr>\n";
  for (const TableFindings& t : findings) {
    html += fmt::format("<tr{}><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td></tr>\n",
                        t.missing > 0 || t.differing > 0 ? " class=\"bad\"" : "", escaped(t.table), t.expected,
                        t.output, t.missing, t.differing, t.extra);
    for (const std::string& line : exampleLines(t)) {
      html += fmt::format("<tr class=\"reason\"><td colspan=\"6\"><code>{}</code></td></tr>\n", escaped(line));
    }
  }
  return html + "</table>\n";
}

// The days the strips show, in order: every day from the first to the last
// with data, except that a stretch of more than kLongGap days without any
// data becomes one break (nullopt), so one outlying record does not stretch
// the strips over years of empty days.
constexpr int kLongGap = 14;

std::vector<std::optional<date::sys_days>> stripDays(const std::set<std::string>& days) {
  std::vector<std::optional<date::sys_days>> out;
  std::optional<date::sys_days> previous;
  for (const std::string& text : days) {
    const date::sys_days day = parseDay(text);
    if (previous && (day - *previous).count() > kLongGap) {
      out.emplace_back(std::nullopt);
    } else if (previous) {
      for (date::sys_days d = *previous + date::days{1}; d < day; d += date::days{1}) out.emplace_back(d);
    }
    out.emplace_back(day);
    previous = day;
  }
  return out;
}

std::string dayText(date::sys_days day) {
  const date::year_month_day ymd{day};
  return fmt::format("{:04}-{:02}-{:02}", int(ymd.year()), unsigned(ymd.month()), unsigned(ymd.day()));
}

// One SVG per device: a strip per kind of data it has, one cell per day.
std::string calendars(const HtmlReport& page) {
  std::set<std::string> devices, allDays;
  for (const HealthCoverage* side : {&page.stores, page.output ? &*page.output : nullptr}) {
    if (side == nullptr) continue;
    for (const auto& [device, kinds] : *side) {
      devices.insert(device);
      for (const auto& [kind, days] : kinds) allDays.insert(days.begin(), days.end());
    }
  }
  if (allDays.empty()) return "<p>No health data.</p>\n";
  const std::vector<std::optional<date::sys_days>> columns = stripDays(allDays);
  const int width = 120 + static_cast<int>(columns.size()) * kCell + 60;  // room for the last label

  std::string html;
  for (const std::string& device : devices) {
    std::vector<const HealthKind*> kinds;
    for (const HealthKind& kind : healthKinds()) {
      if (!daysOf(page.stores, device, kind.name).empty() ||
          (page.output && !daysOf(*page.output, device, kind.name).empty())) {
        kinds.push_back(&kind);
      }
    }
    html += fmt::format("<h3>{}</h3>\n<div class=\"strip\"><svg width=\"{}\" height=\"{}\" role=\"img\">\n",
                        device.empty() ? "any device (weight)" : escaped(device), width,
                        20 + static_cast<int>(kinds.size()) * (kStrip + 4));
    // Month marks along the top, and a mark after each break, none closer
    // than a label's width to the one before.
    int lastLabel = -1000;
    for (size_t i = 0; i < columns.size(); ++i) {
      if (!columns[i]) continue;
      const date::year_month_day ymd{*columns[i]};
      const bool segmentStart = i == 0 || !columns[i - 1];
      const int x = 120 + static_cast<int>(i) * kCell;
      if ((unsigned(ymd.day()) != 1 && !segmentStart) || x - lastLabel < 48) continue;
      html += fmt::format("<text x=\"{}\" y=\"10\" class=\"month\">{:04}-{:02}</text>\n", x, int(ymd.year()),
                          unsigned(ymd.month()));
      lastLabel = x;
    }
    int y = 16;
    for (const HealthKind* kind : kinds) {
      const std::set<std::string>& stores = daysOf(page.stores, device, kind->name);
      const std::set<std::string>& output = page.output ? daysOf(*page.output, device, kind->name) : stores;
      html += fmt::format("<text x=\"0\" y=\"{}\" class=\"kind\">{}</text>\n", y + kStrip - 1, kind->name);
      for (size_t i = 0; i < columns.size(); ++i) {
        const int x = 120 + static_cast<int>(i) * kCell;
        if (!columns[i]) {
          html += fmt::format("<text x=\"{}\" y=\"{}\" class=\"kind\">…</text>\n", x, y + kStrip - 1);
          continue;
        }
        const std::string day = dayText(*columns[i]);
        const bool inStores = stores.count(day) > 0, inOutput = output.count(day) > 0;
        const char* cls = inStores && inOutput ? "both" : inStores ? "gap" : inOutput ? "new" : "none";
        html += fmt::format(
            "<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" class=\"{}\"><title>{} {}: {}</title></rect>\n", x,
            y, kCell - 1, kStrip, cls, day, kind->name, cls);
      }
      y += kStrip + 4;
    }
    html += "</svg></div>\n";
  }
  return html;
}

}  // namespace

std::vector<std::string> exampleLines(const TableFindings& findings) {
  std::vector<std::string> lines;
  for (const auto& [kind, examples] : findings.examples.items()) {
    for (const auto& e : examples) {
      lines.push_back(kind + ": " + e.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    }
  }
  return lines;
}

std::string htmlReportText(const HtmlReport& page) {
  std::string html = fmt::format(R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>{0}</title>
<style>
body {{ font: 14px/1.4 system-ui, sans-serif; margin: 24px; color: #222; }}
h1 {{ font-size: 20px; }} h2 {{ font-size: 16px; margin-top: 28px; }} h3 {{ font-size: 14px; margin: 16px 0 4px; }}
table {{ border-collapse: collapse; }} td, th {{ padding: 2px 10px; border-bottom: 1px solid #ddd; text-align: right; }}
td:first-child, th:first-child {{ text-align: left; }} tr.bad td {{ background: #fde2e1; }}
tr.reason td {{ color: #666; font-size: 12px; padding-left: 28px; }}
.strip {{ overflow-x: auto; }} .month, .kind {{ font-size: 10px; fill: #555; }}
rect.both {{ fill: #2e9e5b; }} rect.gap {{ fill: #d93025; }} rect.new {{ fill: #3b78e7; }} rect.none {{ fill: #e8e8e8; }}
.legend span {{ display: inline-block; width: 10px; height: 10px; margin: 0 4px 0 12px; }}
</style></head><body>
<h1>{0}</h1>
<p id="summary">{1}</p>
)",
                                 escaped(page.title), escaped(page.summary));
  if (!page.findings.empty()) html += "<h2>New tables compared with the output</h2>\n" + findingsTable(page.findings);
  html += "<h2>Health days per device</h2>\n<p class=\"legend\">";
  if (page.output) {
    html += "<span style=\"background:#2e9e5b\"></span>in the stores and the new database"
            "<span style=\"background:#d93025\"></span>in the stores only"
            "<span style=\"background:#3b78e7\"></span>in the new database only";
  } else {
    html += "<span style=\"background:#2e9e5b\"></span>in the stores";
  }
  html += "<span style=\"background:#e8e8e8\"></span>no data</p>\n";
  html += calendars(page);
  html += "<h2>Legacy tables</h2>\n" + countsTable(page.report);
  return html + "</body></html>\n";
}

Problem writeHtmlReport(const HtmlReport& page, const std::string& path) {
  std::ofstream file(path, std::ios::trunc);
  file << htmlReportText(page);
  file.close();
  if (!file) return "cannot write the HTML report";
  return std::nullopt;
}

}  // namespace veq
