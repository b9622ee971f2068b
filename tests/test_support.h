// Fresh sessions, scratch directories and one-value queries shared by the
// tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "migration/migration_session.h"
#include "migration/pro_db_manager.h"

namespace veq {

// A migration session of its own, current on this thread while it lives:
// the registries, store handles, run state, zone, clock and defaults a test
// sets belong to it and go with it.
class FreshSession {
 public:
  FreshSession() = default;
  FreshSession(const FreshSession&) = delete;
  FreshSession& operator=(const FreshSession&) = delete;
  VEQMigrationSession& session() { return session_; }

 private:
  VEQMigrationSession session_;
  VEQMigrationSession::Scope scope_{session_};
};

// The base of tests that change anything the session holds.
class SessionTest : public ::testing::Test {
 protected:
  FreshSession fresh_;
};

// Changes $TZ while it lives (set(...)) and then puts it back, for the C
// library too: for tests of the platform's own local zone.
class ScopedTz {
 public:
  ScopedTz() {
    if (const char* tz = std::getenv("TZ")) saved_ = tz;
  }
  ~ScopedTz() {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedTz(const ScopedTz&) = delete;
  ScopedTz& operator=(const ScopedTz&) = delete;
  static void set(const char* tz) { setenv("TZ", tz, 1); }

 private:
  std::optional<std::string> saved_;
};

// A fresh directory for the running test, removed when it ends.
struct ScratchDir {
  std::filesystem::path path = std::filesystem::temp_directory_path() /
                               ("veq-" + std::to_string(getpid()) + "-" +
                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
  ScratchDir() {
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~ScratchDir() { std::filesystem::remove_all(path); }
  std::string operator/(const std::string& name) const { return (path / name).string(); }
};

// The first column of the first row, or -1 when the query yields nothing.
inline int64_t queryInt(VEQFMDatabase* db, const std::string& sql) {
  auto rs = db->executeQuery(sql);
  return rs && rs->next() ? rs->objectForColumnIndex(0).integerValue() : -1;
}

// Every table of a database, every row in stored order, as texts.
using Dump = std::map<std::string, std::vector<std::string>>;

inline Dump dumpDatabase(const std::string& path) {
  auto db = VEQFMDatabase::databaseWithPath(path);
  EXPECT_TRUE(db->open());
  Dump dump;
  std::vector<std::string> tables;
  auto names = db->executeQuery("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
  while (names && names->next()) tables.push_back(names->objectForColumnIndex(0).description());
  for (const std::string& table : tables) {
    std::vector<std::string>& rows = dump[table];
    auto rs = db->executeQuery("SELECT * FROM \"" + table + "\" ORDER BY rowid");
    while (rs && rs->next()) {
      std::string row;
      for (int i = 0; i < rs->columnCount(); ++i) row += rs->objectForColumnIndex(i).description() + "|";
      rows.push_back(std::move(row));
    }
  }
  return dump;
}

// The last row's outcome as "inserted", "skipped:no_date" ….
inline std::string lastOutcome() {
  const VEQRowReport& r = VEQProDBManager::lastRowReport();
  std::string text(veqOutcomeName(r.outcome));
  if (r.outcome == VEQRowOutcome::kSkipped) text += ":" + std::string(veqSkipReasonName(r.reason));
  return text;
}

// The record columns (after pk and the six base columns) of every row of a
// new health table, in pk order, as "%@" texts.
inline std::vector<std::vector<std::string>> recordTexts(VEQFMDatabase* db, const std::string& table) {
  constexpr int kFirstRecordColumn = 7;
  std::vector<std::vector<std::string>> out;
  auto rs = db->executeQuery("SELECT * FROM " + table + " ORDER BY pk");
  while (rs && rs->next()) {
    std::vector<std::string>& row = out.emplace_back();
    for (int i = kFirstRecordColumn; i < rs->columnCount(); ++i) row.push_back(rs->objectForColumnIndex(i).description());
  }
  return out;
}

// Column `index` (0 = the record's first) of every record of `table`.
inline std::vector<std::string> recordColumn(VEQFMDatabase* db, const std::string& table, size_t index) {
  std::vector<std::string> out;
  for (const auto& row : recordTexts(db, table)) out.push_back(row.at(index));
  return out;
}

}  // namespace veq
