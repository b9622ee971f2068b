// verification.cpp — an existing output compared with a fresh conversion.
#include "files/verification.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <set>

#include "collaborators/db_manager.h"
#include "collaborators/models.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sql_identifier.h"
#include "files/database_inspection.h"
#include "files/migration_files.h"
#include "files/scratch_directory.h"
#include "migration/migration_session.h"
#include "migration/plan_summary.h"

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

bool holdsEverything(const std::vector<TableFindings>& tables) {
  return std::all_of(tables.begin(), tables.end(),
                     [](const TableFindings& t) { return t.missing == 0 && t.differing == 0; });
}

Problem openOutputToVerify(const std::string& outputPath, std::shared_ptr<VEQFMDatabase>* output) {
  if (const Problem problem = openCheckedDatabase(outputPath, SQLITE_OPEN_READONLY, output)) {
    return outputPath + ": " + *problem;
  }
  return std::nullopt;
}

Problem attachOutput(VEQFMDatabase& converted, const std::string& outputPath, VEQFMDatabase& output) {
  if ((!converted.isOpen() && !converted.openWithFlags(SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI)) ||
      !converted.executeUpdate("ATTACH DATABASE ? AS o", {output.databasePath()})) {
    return fmt::format("{}: cannot be read: {}", outputPath, converted.lastErrorMessage());
  }
  return std::nullopt;
}

std::vector<TableFindings> compareWithOutput(VEQFMDatabase& converted, int examples) {
  std::set<std::string> outputTables;
  for (auto rs = converted.executeQuery("SELECT name FROM o.sqlite_master WHERE type = 'table'"); rs && rs->next();) {
    outputTables.insert(rs->stringForColumn("name"));
  }
  std::vector<TableFindings> tables;
  for (const std::string& table : veqNewTableNames()) {
    tables.push_back(compare(converted, table, outputTables.count(table) > 0, examples));
  }
  return tables;
}

Problem verifyMigration(const std::vector<StoreToVerify>& stores, const std::string& defaultsPath,
                        std::shared_ptr<const VEQTimeZone> zone, const std::string& outputPath, int examples,
                        std::vector<TableFindings>* tables) {
  std::shared_ptr<VEQFMDatabase> output;
  if (Problem problem = openOutputToVerify(outputPath, &output)) return problem;
  ScratchDirectory scratch;
  if (Problem problem = scratch.create("", defaultsPath)) return problem;

  VEQMigrationSession session;
  VEQMigrationSession::Scope scope(session);
  session.setTimeZone(std::move(zone));
  const std::string& defaults = scratch.defaultsPath().empty() ? defaultsPath : scratch.defaultsPath();
  if (Problem problem = loadUserDefaults(defaults, session.userDefaults())) return problem;
  std::shared_ptr<VEQFMDatabaseQueue> converted;
  if (Problem problem = openOutput(scratch.databasePath(), kDefaultLockWait, &converted)) return problem;
  for (const StoreToVerify& store : stores) session.attachLegacyStore(store.kind, store.queue);
  const MigrationSummary summary = session.migrateAllStores(converted.get());
  if (summary.stopped()) return scratch.databasePath() + ": " + *summary.stopReason;

  if (Problem problem = attachOutput(*converted->database(), outputPath, *output)) return problem;
  *tables = compareWithOutput(*converted->database(), examples);
  return std::nullopt;
}

}  // namespace veq
