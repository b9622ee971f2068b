#include "collaborators/fmdb_statement_cache.h"

#include <sqlite3.h>

#include <cstdint>

namespace veq {

VEQFMStatementCache::Recent& VEQFMStatementCache::recentSlot(std::string_view sql) {
  return recent_[(reinterpret_cast<uintptr_t>(sql.data()) >> 4) % recent_.size()];
}

VEQCachedStatement* VEQFMStatementCache::checkOut(std::string_view sql, bool* cached) {
  Recent& recent = recentSlot(sql);
  if (recent.text == sql.data() && recent.size == sql.size() && !recent.entry->inUse && *recent.entry->lru == sql) {
    *cached = true;
    recent.entry->inUse = true;
    lru_.splice(lru_.begin(), lru_, recent.entry->lru);
    return recent.entry;
  }
  auto found = entries_.find(sql);
  *cached = found != entries_.end();
  if (!*cached || found->second.inUse) return nullptr;
  found->second.inUse = true;
  lru_.splice(lru_.begin(), lru_, found->second.lru);
  recent = {sql.data(), sql.size(), &found->second};
  return &found->second;
}

VEQCachedStatement* VEQFMStatementCache::add(std::string_view sql, sqlite3_stmt* stmt) {
  lru_.emplace_front(sql);
  VEQCachedStatement* entry =
      &entries_.emplace(lru_.front(), VEQCachedStatement{stmt, lru_.begin(), true}).first->second;
  setCapacity(capacity_);
  recentSlot(sql) = {sql.data(), sql.size(), entry};
  return entry;
}

// Entries stay where they are while in use (eviction skips them), so the
// entry found at check-out is still the statement's.
void VEQFMStatementCache::checkIn(VEQCachedStatement* entry) {
  sqlite3_reset(entry->stmt);
  entry->inUse = false;
  if (entries_.size() > capacity_) setCapacity(capacity_);
}

void VEQFMStatementCache::setCapacity(size_t n) {
  capacity_ = n;
  // Evict from the least recently used end; statements in use stay.
  for (auto it = lru_.end(); entries_.size() > capacity_ && it != lru_.begin();) {
    --it;
    auto entry = entries_.find(*it);
    if (entry->second.inUse) continue;
    for (Recent& recent : recent_)
      if (recent.entry == &entry->second) recent = {};
    sqlite3_finalize(entry->second.stmt);
    entries_.erase(entry);
    it = lru_.erase(it);
  }
}

void VEQFMStatementCache::clear() {
  recent_.fill({});
  for (auto& [sql, entry] : entries_) sqlite3_finalize(entry.stmt);
  entries_.clear();
  lru_.clear();
}

}  // namespace veq
