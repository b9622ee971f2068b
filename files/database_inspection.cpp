// database_inspection.cpp — file checks before a run, counts during it.
#include "files/database_inspection.h"

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
Problem fileProblem(const std::string& path) {
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
  return std::nullopt;
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
Problem legacyDatabase(const std::string& path, std::shared_ptr<VEQFMDatabase>* db) {
  if (!nonEmptyFile(path + "-wal") && !nonEmptyFile(path + "-journal")) {
    *db = std::make_shared<VEQFMDatabase>(fileUriImpl(path) + "?immutable=1");
    return std::nullopt;
  }
  std::string dir = (fs::temp_directory_path() / "veq-migrate-XXXXXX").string();
  if (::mkdtemp(dir.data()) == nullptr) {
    return fmt::format("needs recovery and no private copy can be made: {}", std::strerror(errno));
  }
  const std::string copy = (fs::path(dir) / "store.sqlite").string();
  std::error_code ec;
  copyDatabaseFiles(path, copy, ec);
  if (ec) {
    fs::remove_all(dir, ec);
    return fmt::format("needs recovery and no private copy can be made: {}", ec.message());
  }
  db->reset(new VEQFMDatabase(copy), [dir](VEQFMDatabase* copied) {
    delete copied;
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  });
  return std::nullopt;
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

Problem openCheckedDatabase(const std::string& path, int flags, std::shared_ptr<VEQFMDatabase>* opened) {
  if (Problem problem = fileProblem(path)) return problem;
  const bool legacy = !(flags & SQLITE_OPEN_READWRITE);
  std::shared_ptr<VEQFMDatabase> db;
  if (legacy) {
    if (Problem problem = legacyDatabase(path, &db)) return problem;
  } else {
    db = std::make_shared<VEQFMDatabase>(path);
  }
  // A private copy is opened for writing so that SQLite can recover it.
  if (legacy) flags = db->databasePath().rfind("file:", 0) == 0 ? flags | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
  if (!db->openWithFlags(flags)) {
    return fmt::format("{}: {}", isDamage(db->lastErrorCode()) ? "corrupt" : "cannot open", db->lastErrorMessage());
  }
  // A page that cannot be read (an I/O error) is not a damaged file: the
  // message says which it is.
  std::unique_ptr<VEQFMResultSet> rs = db->executeQuery("PRAGMA quick_check(1)");
  if (!rs || !rs->next()) {
    return fmt::format("{}: {}", isDamage(db->lastErrorCode()) ? "corrupt" : "cannot read", db->lastErrorMessage());
  }
  const std::string verdict = rs->objectForColumnIndex(0).description();
  if (const int code = unreadPageCode(verdict); code != 0 && !isDamage(code)) {
    return fmt::format("cannot read: {}", sqlite3_errstr(code));
  }
  if (verdict != "ok") return fmt::format("corrupt: {}", oneLine(verdict));
  rs.reset();
  *opened = std::move(db);
  return std::nullopt;
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
