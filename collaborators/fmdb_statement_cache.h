// fmdb_statement_cache.h — the prepared statements of one connection, kept
// by statement text for VEQFMDatabase (fmdb_database.h).
//
// VEQFMStatementCache holds at most capacity() statements (256 unless set)
// and evicts from the least recently used end when it grows past that.
//   * A statement is checked out while a caller steps it and checked in
//     afterwards (checkIn resets it, keeping its bindings). A checked-out
//     statement is never handed out again or evicted: a second caller of the
//     same text meanwhile gets nothing from the cache (checkOut tells it the
//     text is cached, so it prepares a private statement instead).
//   * Callers that run one text per legacy row pass the same string each
//     time: a text met recently from the same address is found by comparing
//     its characters, without hashing it.
//   * The cache owns its statements: eviction and clear() finalize them. It
//     never prepares one (the database does, and counts the preparations).
//   * Not thread-safe; it belongs to one connection, which one caller uses
//     at a time.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3_stmt;

namespace veq {

// One cached statement. Stays at the same address while cached.
struct VEQCachedStatement {
  sqlite3_stmt* stmt;
  std::list<std::string>::iterator lru;
  bool inUse;
};

class VEQFMStatementCache {
 public:
  VEQFMStatementCache() = default;
  VEQFMStatementCache(const VEQFMStatementCache&) = delete;
  VEQFMStatementCache& operator=(const VEQFMStatementCache&) = delete;

  // The idle statement cached for `sql`, now checked out and most recently
  // used; nullptr when there is none. *cached says whether `sql` is cached
  // at all (true with nullptr: its statement is checked out).
  VEQCachedStatement* checkOut(std::string_view sql, bool* cached);
  // Caches `stmt`, freshly prepared from `sql` (not cached yet), checked out.
  VEQCachedStatement* add(std::string_view sql, sqlite3_stmt* stmt);
  // Resets the entry's statement and makes it available again.
  void checkIn(VEQCachedStatement* entry);

  // Sets the bound and evicts idle statements above it.
  void setCapacity(size_t n);
  size_t capacity() const { return capacity_; }
  size_t size() const { return entries_.size(); }
  // Finalizes every statement (none may be checked out).
  void clear();

 private:
  struct TextHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
  };
  struct Recent {
    const char* text = nullptr;
    size_t size = 0;
    VEQCachedStatement* entry = nullptr;
  };
  Recent& recentSlot(std::string_view sql);

  std::unordered_map<std::string, VEQCachedStatement, TextHash, std::equal_to<>> entries_;
  std::list<std::string> lru_;  // front = most recently used
  // Statements met recently, by the address of their text.
  std::array<Recent, 8> recent_{};
  size_t capacity_ = 256;
};

}  // namespace veq
