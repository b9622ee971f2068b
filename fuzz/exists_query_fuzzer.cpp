// exists_query_fuzzer.cpp — the reading of exists-query texts.
//
// Input: a table byte (a new health table), then the query text. Checks,
// besides the sanitizers:
//   * the health look-up reading (readHealthLookup) gives exactly the values
//     lifting the text gives, and only for texts lifting reads as the
//     table's record look-up;
//   * a lifted text selects the same rows as the raw text, on a new database
//     holding a few records (texts SQLite rejects, or that run too long, are
//     not compared);
//   * the general and the health look-up run against the new database.
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "collaborators/db_manager.h"
#include "collaborators/sql_literals.h"
#include "collaborators/sync_sql_manager.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/legacy_world.h"

namespace {

using namespace veq;
using namespace veq::fuzz;

void check(bool ok, const char* what, const std::string& text) {
  if (ok) return;
  std::fprintf(stderr, "exists_query_fuzzer: %s\n  text: %s\n", what, text.c_str());
  std::abort();
}

// Every row `sql` selects as text, or nullopt when SQLite refuses it or it
// runs more than a bounded number of steps.
std::optional<std::vector<std::string>> rowsOf(sqlite3* db, const std::string& sql, const VEQArray& args) {
  sqlite3_stmt* stmt = nullptr;
  const char* tail = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &stmt, &tail) != SQLITE_OK || !stmt) {
    return std::nullopt;
  }
  if (tail != nullptr && *tail != '\0') {
    sqlite3_finalize(stmt);
    return std::nullopt;
  }
  for (size_t i = 0; i < args.size(); ++i) {
    const VEQValue& v = args[i];
    const int slot = static_cast<int>(i + 1);
    if (v.isText()) sqlite3_bind_text(stmt, slot, v.text().data(), static_cast<int>(v.text().size()), SQLITE_TRANSIENT);
    else if (v.kind() == VEQValue::Kind::Real) sqlite3_bind_double(stmt, slot, v.doubleValue());
    else sqlite3_bind_int64(stmt, slot, v.integerValue());
  }
  std::vector<std::string> rows;
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    std::string row;
    for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
      const unsigned char* t = sqlite3_column_text(stmt, c);
      row += std::to_string(sqlite3_column_type(stmt, c)) + ":" + (t ? reinterpret_cast<const char*>(t) : "") + "|";
    }
    rows.push_back(std::move(row));
  }
  sqlite3_finalize(stmt);
  if (rc != SQLITE_DONE) return std::nullopt;
  return rows;
}

int stopLongQueries(void* steps) { return ++*static_cast<int*>(steps) > 200; }

// The new database with a few records in every health table: two devices
// and a key holding quotes, each under integer and text forms of its keys.
VEQFMDatabase* seededDatabase() {
  static VEQFMDatabase* db = [] {
    VEQFMDatabase* d = LegacyWorld::get().newDatabase();
    const std::vector<std::vector<VEQValue>> records = {{"AA:BB:CC:DD:EE:01", "1699920000", 1},
                                                        {"AA:BB:CC:DD:EE:02", 1699920000, 2},
                                                        {"x' OR '1'='1", "-1", 0}};
    for (int t = 0; t < static_cast<int>(VEQHealthTable::kCount); ++t) {
      const auto table = static_cast<VEQHealthTable>(t);
      for (const std::vector<VEQValue>& record : records) {
        std::string cols, slots;
        VEQArray args;
        size_t number = 1;
        for (std::string_view column : VEQSyncSqlManager::keyColumns(table)) {
          cols += (cols.empty() ? "" : ", ") + std::string(column);
          slots += slots.empty() ? "?" : ", ?";
          args.push_back(column == "mac_addr" ? record[0] : record[number++ % 3]);
        }
        d->executeUpdate("INSERT OR IGNORE INTO " + std::string(VEQSyncSqlManager::tableName(table)) + " (" + cols +
                             ") VALUES (" + slots + ")",
                         args);
      }
    }
    return d;
  }();
  return db;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  VEQFMDatabase* db = seededDatabase();
  FuzzInput in(data, size);
  const auto table = static_cast<VEQHealthTable>(in.byte() % static_cast<int>(VEQHealthTable::kCount));
  const std::string text = in.rest();

  const std::optional<VEQLiftedQuery> lifted = veqLiftLiterals(text);
  const std::optional<VEQDBManager::HealthLookupKeys> keys = VEQDBManager::readHealthLookup(table, text);
  if (keys) {
    check(lifted.has_value(), "a health look-up text that lifting does not read", text);
    check(lifted->args.size() == keys->count, "health look-up values differ in number from lifted ones", text);
    for (size_t i = 0; i < keys->count; ++i) {
      const VEQSqlParam& k = keys->values[i];
      const VEQValue& a = lifted->args[i];
      const bool same = k.isText ? a.isText() && a.text() == k.chars
                                 : a.kind() == VEQValue::Kind::Integer &&
                                                                                a.integerValue() == k.number;
      check(same, "a health look-up value differs from the lifted one", text);
    }
  }
  if (lifted) {
    veqEqualityFilter(*lifted);
    veqEqualityFilter(*lifted, "pk");
    int steps = 0;
    sqlite3_progress_handler(db->sqliteHandle(), 100, stopLongQueries, &steps);
    const auto raw = rowsOf(db->sqliteHandle(), text, {});
    steps = 0;
    const auto bound = rowsOf(db->sqliteHandle(), lifted->sql, lifted->args);
    sqlite3_progress_handler(db->sqliteHandle(), 0, nullptr, nullptr);
    if (raw && bound) check(*raw == *bound, "the lifted text selects other rows than the raw one", text);
  }

  int64_t pk = -1;
  VEQDBManager::querySyncExistDataWithSqlDb(db, text, &pk);
  VEQDBManager::queryHealthRecordExistsDb(db, table, text, &pk);
  return 0;
}
