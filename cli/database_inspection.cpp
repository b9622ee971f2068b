// database_inspection.cpp — file checks before a run, counts during it.
#include "cli/database_inspection.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

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

}  // namespace

std::shared_ptr<VEQFMDatabase> openCheckedDatabase(const std::string& path, int flags, std::string* problem) {
  *problem = fileProblem(path);
  if (!problem->empty()) return nullptr;
  auto db = std::make_shared<VEQFMDatabase>(path);
  if (!db->openWithFlags(flags)) {
    const int code = db->lastErrorCode() & 0xff;
    const bool damaged = code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
    *problem = fmt::format("{}: {}", damaged ? "corrupt" : "cannot open", db->lastErrorMessage());
    return nullptr;
  }
  std::unique_ptr<VEQFMResultSet> rs = db->executeQuery("PRAGMA quick_check(1)");
  if (!rs || !rs->next()) {
    *problem = fmt::format("corrupt: {}", db->lastErrorMessage());
    return nullptr;
  }
  const std::string verdict = rs->objectForColumnIndex(0).description();
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

}  // namespace veq
