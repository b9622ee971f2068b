// copies.cpp — table extraction and the plain INSERT … SELECT yardstick.
#include "bench/copies.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sqlite3.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>

#include "bench/child_process.h"
#include "collaborators/fmdb.h"
#include "files/migration_files.h"

namespace veq::bench {
namespace {

// Opens a new, empty database at `path` (any old file is removed first).
std::unique_ptr<VEQFMDatabase> freshDatabase(const std::string& path, std::string* error) {
  std::filesystem::remove(path);
  auto db = std::make_unique<VEQFMDatabase>(path);
  if (!db->open() || !db->executeStatements(kOutputPragmas)) {
    *error = fmt::format("{}: {}", path, db->lastErrorMessage());
    return nullptr;
  }
  return db;
}

bool fail(VEQFMDatabase& db, std::string* error) {
  *error = fmt::format("{}: {}", db.databasePath(), db.lastErrorMessage());
  return false;
}

// `sql` with every occurrence of `from` (the table's name, also inside its
// index names) replaced by `to`.
std::string renamed(const std::string& sql, const std::string& from, const std::string& to) {
  std::string out;
  size_t done = 0;
  for (size_t at = sql.find(from); at != std::string::npos; at = sql.find(from, done)) {
    out.append(sql, done, at - done).append(to);
    done = at + from.size();
  }
  return out.append(sql, done);
}

// Steps `select` and writes each of its rows with `insert` (one parameter a
// column), on the raw connection: the floor of a row-per-statement write.
bool copyRowByRow(sqlite3* db, const std::string& select, const std::string& insert) {
  sqlite3_stmt* rows = nullptr;
  sqlite3_stmt* write = nullptr;
  bool ok = sqlite3_prepare_v2(db, select.c_str(), -1, &rows, nullptr) == SQLITE_OK &&
            sqlite3_prepare_v2(db, insert.c_str(), -1, &write, nullptr) == SQLITE_OK;
  while (ok && sqlite3_step(rows) == SQLITE_ROW) {
    for (int i = 0; i < sqlite3_column_count(rows); ++i) sqlite3_bind_value(write, i + 1, sqlite3_column_value(rows, i));
    ok = sqlite3_step(write) == SQLITE_DONE;
    sqlite3_reset(write);
  }
  sqlite3_finalize(rows);
  sqlite3_finalize(write);
  return ok;
}

}  // namespace

bool extractTables(const std::string& fromPath, const std::vector<std::string>& tables, const std::string& toPath,
                   std::string* error) {
  auto db = freshDatabase(toPath, error);
  if (!db) return false;
  if (!db->executeUpdate("ATTACH DATABASE ? AS src", {fromPath})) return fail(*db, error);
  for (const std::string& table : tables) {
    std::string create;
    if (auto rs = db->executeQuery("SELECT sql FROM src.sqlite_master WHERE type = 'table' AND name = ?", {table});
        rs && rs->next()) {
      create = rs->stringForColumn("sql");
    }
    if (create.empty()) {
      *error = fmt::format("{}: no table {}", fromPath, table);
      return false;
    }
    if (!(db->executeStatements(create) && db->beginTransaction() &&
          db->executeUpdate(fmt::format("INSERT INTO main.\"{0}\" SELECT * FROM src.\"{0}\"", table)) &&
          db->commit()))
      return fail(*db, error);
  }
  return db->executeUpdate("DETACH DATABASE src") || fail(*db, error);
}

bool runPlainCopy(const PlainCopy& copy, PlainCopyResult* result, std::string* error) {
  VEQFMDatabase shape(copy.shapePath);
  if (!shape.open()) return fail(shape, error);
  std::vector<std::string> schema;  // the table first, then its indexes
  auto rs = shape.executeQuery(
      "SELECT sql FROM sqlite_master WHERE tbl_name = ? AND sql IS NOT NULL AND type != 'trigger' "
      "ORDER BY type = 'table' DESC",
      {copy.shapeTable});
  while (rs && rs->next()) schema.push_back(renamed(rs->stringForColumn("sql"), copy.shapeTable, "ref"));
  rs.reset();
  if (schema.empty()) {
    *error = fmt::format("{}: no table {}", copy.shapePath, copy.shapeTable);
    return false;
  }

  auto db = freshDatabase(copy.refPath, error);
  if (!db) return false;
  for (const std::string& sql : schema)
    if (!db->executeStatements(sql)) return fail(*db, error);
  std::vector<std::string> columns;
  for (auto info = db->executeQuery("PRAGMA table_info(ref)"); info && info->next();)
    if (info->stringForColumn("name") != "pk") columns.push_back(info->stringForColumn("name"));
  if (columns.size() != copy.expressions.size()) {
    *error = fmt::format("ref has {} columns after pk, the copy gives {}", columns.size(), copy.expressions.size());
    return false;
  }
  if (!db->executeUpdate("ATTACH DATABASE ? AS legacy", {copy.legacyPath})) return fail(*db, error);

  const std::string select = fmt::format("SELECT {} FROM legacy.{}", fmt::join(copy.expressions, ", "), copy.legacyTable);
  const std::string insert = fmt::format("INSERT INTO ref ({}) ", fmt::join(columns, ", "));
  const std::vector<std::string> placeholders(columns.size(), "?");
  rusage before{}, after{};
  getrusage(RUSAGE_SELF, &before);
  const auto started = std::chrono::steady_clock::now();
  const bool copied =
      db->beginTransaction() &&
      (copy.rowByRow ? copyRowByRow(db->sqliteHandle(), select,
                                    insert + fmt::format("VALUES ({})", fmt::join(placeholders, ", ")))
                     : db->executeUpdate(insert + select)) &&
      db->commit();
  if (!copied) return fail(*db, error);
  result->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  getrusage(RUSAGE_SELF, &after);
  result->cpuSeconds = cpuSecondsOf(after) - cpuSecondsOf(before);
  if (auto count = db->executeQuery("SELECT count(*) AS n FROM ref"); count && count->next())
    result->rows = count->longLongIntForColumn("n");
  return true;
}

}  // namespace veq::bench
