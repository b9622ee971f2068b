// verify_command.cpp — an existing output compared with a fresh conversion.
#include "cli/verify_command.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include <fstream>
#include <set>
#include <vector>

#include "cli/command_paths.h"
#include "cli/database_inspection.h"
#include "cli/health_coverage.h"
#include "cli/html_report.h"
#include "cli/scratch_migration.h"
#include "collaborators/db_manager.h"
#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "migration/migration_session.h"
#include "collaborators/sql_identifier.h"

namespace veq {

namespace {

using Json = nlohmann::ordered_json;

// Columns that a conversion cannot reproduce after the first run: the
// device-info conversion takes the app's binding over from the user defaults
// once and removes it from them, so a later conversion writes the record
// without it. They are left out of the comparison.
bool takenOverOnce(const std::string& table, const std::string& column) {
  static const std::set<std::string> columns = {veqColumnNameForProperty("uuidStr"),
                                                veqColumnNameForProperty("deviceName"),
                                                veqColumnNameForProperty("bindState")};
  return table == "t_get_device_info" && columns.count(column) > 0;
}

std::vector<std::string> columnsOf(VEQFMDatabase& db, const std::string& schema, const std::string& table) {
  std::vector<std::string> columns;
  auto rs = db.executeQuery(fmt::format("SELECT name FROM {}.pragma_table_info(?)", schema), {table});
  while (rs && rs->next()) columns.push_back(rs->stringForColumn("name"));
  return columns;
}

std::string joined(const std::vector<std::string>& columns, const std::string& prefix) {
  std::string out;
  for (const std::string& c : columns) out += (out.empty() ? "" : ", ") + prefix + sqlIdentifier(c);
  return out;
}

// "x.k1 IS y.k1 AND …"
std::string keyMatch(const std::vector<std::string>& key, const std::string& x, const std::string& y) {
  std::string out;
  for (const std::string& k : key) {
    out += fmt::format("{}{}.{} IS {}.{}", out.empty() ? "" : " AND ", x, sqlIdentifier(k), y, sqlIdentifier(k));
  }
  return out;
}

Json rowObject(VEQFMResultSet& rs) {
  Json row = Json::object();
  for (int i = 0; i < rs.columnCount(); ++i) row[rs.columnName(i)] = rs.objectForColumnIndex(i).description();
  return row;
}

// The scratch database is "main", the output is attached as "o".
// `held`: whether the output has the table at all. A table it lacks misses
// every converted record, listed like single missing records.
TableFindings compare(VEQFMDatabase& db, const std::string& table, bool held, int examples) {
  TableFindings c;
  c.table = table;
  const std::string t = sqlIdentifier(table);
  c.expected = queryCount(db, "SELECT COUNT(*) FROM main." + t);
  c.output = held ? queryCount(db, "SELECT COUNT(*) FROM o." + t) : 0;

  std::vector<std::string> columns;
  const std::vector<std::string> theirs = held ? columnsOf(db, "o", table) : columnsOf(db, "main", table);
  for (const std::string& column : columnsOf(db, "main", table)) {
    if (column != "pk" && !takenOverOnce(table, column) && std::find(theirs.begin(), theirs.end(), column) != theirs.end()) {
      columns.push_back(column);
    }
  }
  std::vector<std::string> key = VEQDBManager::recordKeyColumns(table);
  if (key.empty()) key = columns;
  const std::string cols = joined(columns, ""), keys = joined(key, "x.");

  // Rows of one side that the other side does not hold exactly, split by
  // whether the other side holds their key.
  auto sideOnly = [&](const std::string& from, const std::string& other, bool keyHeld, int64_t* count,
                      const char* kind) {
    const std::string rows =
        held ? fmt::format("SELECT {0} FROM {1}.{2} EXCEPT SELECT {0} FROM {3}.{2}", cols, from, t, other)
             : fmt::format("SELECT {} FROM {}.{}", cols, from, t);
    const std::string where =
        held ? fmt::format("{}EXISTS (SELECT 1 FROM {}.{} y WHERE {})", keyHeld ? "" : "NOT ", other, t,
                           keyMatch(key, "x", "y"))
             : std::string("1");  // no table: every row is missing, none differs
    *count = queryCount(db, fmt::format("SELECT COUNT(*) FROM ({}) x WHERE {}", rows, where));
    Json list = Json::array();
    auto rs = db.executeQuery(fmt::format("SELECT {} FROM ({}) x WHERE {} LIMIT {}", keys, rows, where, examples));
    while (rs && rs->next()) list.push_back(rowObject(*rs));
    if (!list.empty()) c.examples[kind] = list;
  };
  sideOnly("main", "o", false, &c.missing, "missing");
  if (!held) return c;
  sideOnly("main", "o", true, &c.differing, "differing");
  sideOnly("o", "main", false, &c.extra, "extra");

  // Which columns differ, for the differing examples.
  if (c.examples.contains("differing")) {
    for (Json& example : c.examples["differing"]) {
      std::string where;
      VEQArray args;
      for (const std::string& k : key) {
        where += fmt::format("{}{} IS ?", where.empty() ? "" : " AND ", sqlIdentifier(k));
        args.push_back(VEQValue(example[k].get<std::string>()));
      }
      Json differ = Json::array();
      for (const std::string& column : columns) {
        const std::string q = fmt::format(
            "SELECT EXISTS (SELECT 1 FROM main.{0} a, o.{0} b WHERE {1} AND NOT (a.{2} IS b.{2}))", t,
            keyMatch(key, "a", "b") + " AND " + [&] {
              std::string w;
              for (const std::string& k : key) w += fmt::format("{}CAST(a.{} AS TEXT) IS ?", w.empty() ? "" : " AND ", sqlIdentifier(k));
              return w;
            }(),
            sqlIdentifier(column));
        if (queryCount(db, q, args) > 0) differ.push_back(column);
      }
      example = {{"key", example}, {"columns", differ}};
    }
  }
  return c;
}

}  // namespace

ExitStatus verifyOutput(const VerifyOptions& options, std::ostream& out, std::ostream& err) {
  // What the next open of the output would hold: the output itself opened
  // immutable, or a recovered private copy when a log or journal lies beside
  // it (database_inspection.h). Either way the output is only read.
  std::shared_ptr<VEQFMDatabase> output;
  if (const Problem problem = openCheckedDatabase(options.outPath, SQLITE_OPEN_READONLY, &output)) {
    err << fmt::format("veq-migrate: {}: {}\n", options.outPath, *problem);
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
  if (!db.openWithFlags(SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI) ||
      !db.executeUpdate("ATTACH DATABASE ? AS o", {output->databasePath()})) {
    err << fmt::format("veq-migrate: {}: cannot be read: {}\n", options.outPath, db.lastErrorMessage());
    return ExitStatus::kRefused;
  }
  const std::set<std::string> outputTables = [&] {
    std::set<std::string> names;
    for (auto rs = db.executeQuery("SELECT name FROM o.sqlite_master WHERE type = 'table'"); rs && rs->next();)
      names.insert(rs->stringForColumn("name"));
    return names;
  }();

  std::vector<TableFindings> tables;
  for (const std::string& table : veqNewTableNames()) {
    tables.push_back(compare(db, table, outputTables.count(table) > 0, options.examples));
  }

  bool ok = true;
  Json json = Json::array();
  out << fmt::format("{:<32} {:>9} {:>9} {:>9} {:>9} {:>9}\n", "new table", "expected", "output", "missing",
                     "differing", "extra");
  for (const TableFindings& c : tables) {
    ok = ok && c.missing == 0 && c.differing == 0;
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
