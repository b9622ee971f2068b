// database_inspection.cpp — file checks before a run, counts during it.
#include "cli/database_inspection.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include <stdlib.h>

#include "collaborators/sql_identifier.h"

namespace veq {

namespace {

namespace fs = std::filesystem;

uint32_t bigEndian(const unsigned char* p, int bytes) {
  uint32_t v = 0;
  for (int i = 0; i < bytes; ++i) v = (v << 8) | p[i];
  return v;
}

// Checks what can be seen without SQLite: existence, readability, the header
// and the recorded size. Returns the problem, or "" when the file passes.
std::string fileProblem(const std::string& path) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) return "no such file";
  if (fs::is_directory(status)) return "is a directory";
  if (!fs::is_regular_file(status)) return "not a regular file";
  std::ifstream in(path, std::ios::binary);
  if (!in) return fmt::format("cannot read: {}", std::strerror(errno));

  std::array<unsigned char, 100> header{};
  in.read(reinterpret_cast<char*>(header.data()), header.size());
  static constexpr char kMagic[] = "SQLite format 3";  // with its NUL: 16 bytes
  if (in.gcount() < static_cast<std::streamsize>(header.size()) ||
      std::memcmp(header.data(), kMagic, sizeof kMagic) != 0) {
    return "not a SQLite database";
  }
  // The page count in the header is trusted by SQLite only while the
  // "version valid for" number equals the change counter.
  const uint32_t pageSizeField = bigEndian(&header[16], 2);
  const uint64_t pageSize = pageSizeField == 1 ? 65536 : pageSizeField;
  const uint32_t pages = bigEndian(&header[28], 4);
  const bool pagesValid = pages > 0 && bigEndian(&header[24], 4) == bigEndian(&header[92], 4);
  const uint64_t size = fs::file_size(path, ec);
  if (!ec && pagesValid && size < pages * pageSize) {
    return fmt::format("truncated: {} bytes where the header records {}", size, pages * pageSize);
  }
  return "";
}

// quick_check's verdict on one line: its "*** in database main ***" heading
// dropped, the findings joined.
std::string oneLine(const std::string& verdict) {
  std::string out, line;
  std::istringstream lines(verdict);
  while (std::getline(lines, line)) {
    if (line.empty() || line.rfind("***", 0) == 0) continue;
    out += (out.empty() ? "" : "; ") + line;
  }
  return out;
}


std::string fileUriImpl(const std::string& path) {
  std::string uri = "file:";
  for (const char c : fs::absolute(path).string()) {
    if (c == '%' || c == '?' || c == '#') {
      uri += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    } else {
      uri += c;
    }
  }
  return uri;
}

bool nonEmptyFile(const std::string& path) {
  std::error_code ec;
  return fs::is_regular_file(path, ec) && fs::file_size(path, ec) > 0;
}

// A store whose last writer left a write-ahead log or a rollback journal
// beside it is read from a private copy of the three files in a fresh
// temporary directory, which SQLite recovers (replays the log, rolls the
// journal back) as it would the original; the copy goes when the last
// handle does. Any other store is opened immutable: no lock, no -shm, no
// journal, nothing created or changed beside it.
std::shared_ptr<VEQFMDatabase> legacyDatabase(const std::string& path, std::string* problem) {
  if (!nonEmptyFile(path + "-wal") && !nonEmptyFile(path + "-journal")) {
    return std::make_shared<VEQFMDatabase>(fileUriImpl(path) + "?immutable=1");
  }
  std::string dir = (fs::temp_directory_path() / "veq-migrate-XXXXXX").string();
  if (::mkdtemp(dir.data()) == nullptr) {
    *problem = fmt::format("needs recovery and no private copy can be made: {}", std::strerror(errno));
    return nullptr;
  }
  const std::string copy = (fs::path(dir) / "store.sqlite").string();
  std::error_code ec;
  copyDatabaseFiles(path, copy, ec);
  if (ec) {
    fs::remove_all(dir, ec);
    *problem = fmt::format("needs recovery and no private copy can be made: {}", ec.message());
    return nullptr;
  }
  return std::shared_ptr<VEQFMDatabase>(new VEQFMDatabase(copy), [dir](VEQFMDatabase* db) {
    delete db;
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  });
}

// Whether a result code says the file's content is damaged, rather than that
// reading it failed (an I/O error, no memory).
bool isDamage(int code) { return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB; }

// quick_check reports a page it could not fetch as "unable to get the page.
// error code=N": the code of that failure, or 0 when the verdict has none.
int unreadPageCode(const std::string& verdict) {
  constexpr std::string_view kMarker = "error code=";
  const size_t at = verdict.find(kMarker);
  return at == std::string::npos ? 0 : std::atoi(verdict.c_str() + at + kMarker.size());
}

}  // namespace

std::shared_ptr<VEQFMDatabase> openCheckedDatabase(const std::string& path, int flags, std::string* problem) {
  *problem = fileProblem(path);
  if (!problem->empty()) return nullptr;
  const bool legacy = !(flags & SQLITE_OPEN_READWRITE);
  std::shared_ptr<VEQFMDatabase> db =
      legacy ? legacyDatabase(path, problem) : std::make_shared<VEQFMDatabase>(path);
  if (!db) return nullptr;
  // A private copy is opened for writing so that SQLite can recover it.
  if (legacy) flags = db->databasePath().rfind("file:", 0) == 0 ? flags | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
  if (!db->openWithFlags(flags)) {
    *problem = fmt::format("{}: {}", isDamage(db->lastErrorCode()) ? "corrupt" : "cannot open", db->lastErrorMessage());
    return nullptr;
  }
  // A page that cannot be read (an I/O error) is not a damaged file: the
  // message says which it is.
  std::unique_ptr<VEQFMResultSet> rs = db->executeQuery("PRAGMA quick_check(1)");
  if (!rs || !rs->next()) {
    *problem = fmt::format("{}: {}", isDamage(db->lastErrorCode()) ? "corrupt" : "cannot read", db->lastErrorMessage());
    return nullptr;
  }
  const std::string verdict = rs->objectForColumnIndex(0).description();
  if (const int code = unreadPageCode(verdict); code != 0 && !isDamage(code)) {
    *problem = fmt::format("cannot read: {}", sqlite3_errstr(code));
    return nullptr;
  }
  if (verdict != "ok") {
    *problem = fmt::format("corrupt: {}", oneLine(verdict));
    return nullptr;
  }
  return db;
}

std::set<std::string> tableNames(VEQFMDatabase& db) {
  std::set<std::string> names;
  auto rs = db.executeQuery("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'");
  while (rs && rs->next()) names.insert(rs->stringForColumn("name"));
  return names;
}

int64_t rowCount(VEQFMDatabase& db, const std::string& table) {
  auto rs = db.executeQuery("SELECT COUNT(*) FROM " + sqlIdentifier(table));
  if (!rs || !rs->next()) return -1;
  return rs->objectForColumnIndex(0).integerValue();
}

std::string fileUriOf(const std::string& path) { return fileUriImpl(path); }

void copyWritable(const std::string& from, const std::string& to, std::error_code& ec) {
  if (!fs::copy_file(from, to, ec)) return;
  fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add, ec);
}

void copyDatabaseFiles(const std::string& path, const std::string& copy, std::error_code& ec) {
  copyWritable(path, copy, ec);
  for (const char* suffix : {"-wal", "-journal"}) {
    if (!ec && nonEmptyFile(path + suffix)) copyWritable(path + suffix, copy + suffix, ec);
  }
}

int64_t queryCount(VEQFMDatabase& db, const std::string& sql, const VEQArray& args) {
  auto rs = db.executeQuery(sql, args);
  return rs && rs->next() ? rs->objectForColumnIndex(0).integerValue() : 0;
}

}  // namespace veq
