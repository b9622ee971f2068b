#include "collaborators/old_db_manager.h"


#include <cctype>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "collaborators/collaborator_state.h"
#include "collaborators/sql_identifier.h"
#include "collaborators/sql_literals.h"

namespace veq {

namespace {

VEQFMDatabase* openDatabase(VEQFMDatabaseQueue* queue) {
  VEQFMDatabase* db = queue ? queue->database().get() : nullptr;
  return db && db->isOpen() ? db : nullptr;
}

bool tableExists(VEQFMDatabase* db, const std::string& tableName) {
  auto rs = db->executeQuery(
      "SELECT 1 FROM sqlite_master WHERE type IN ('table', 'view') AND name = ? COLLATE NOCASE", {tableName});
  return rs && rs->next();
}

// ---------------------------------------------------------------------------
// Grouped counts

// The text under which a value is counted (see the header): values that
// compare equal in an INTEGER, NUMERIC or TEXT column share it. Appended
// once per legacy item row, so integers and texts go in without a
// temporary string.
void appendCanonical(std::string* key, const VEQValue& value) {
  char digits[24];
  std::string_view text;
  std::string other;
  const auto integer = [&digits](int64_t number) {
    return std::string_view(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
  };
  if (value.kind() == VEQValue::Kind::Integer) {
    text = integer(value.integerValue());
  } else if (value.kind() == VEQValue::Kind::Text) {
    text = value.text();
  } else {
    const double d = value.doubleValue();
    if (value.kind() == VEQValue::Kind::Real && d == std::trunc(d) && std::fabs(d) < 9.2e18) {
      text = integer(static_cast<int64_t>(d));
    } else {
      other = value.description();
      text = other;
    }
  }
  // Length-prefixed, so that no text can imitate a run of several values.
  char length[24];
  key->append(length, std::to_chars(std::begin(length), std::end(length), text.size()).ptr);
  key->push_back(':');
  key->append(text);
}

struct StoreStamp {
  int64_t dataVersion;
  int64_t totalChanges;
  bool operator==(const StoreStamp&) const = default;
};

using GroupCounts = std::unordered_map<std::string, int64_t>;

struct StoreCounts {
  StoreStamp stamp{-1, -1};
  std::unordered_map<std::string, GroupCounts> byFilter;  // key: table and columns
  // The last query answered from the groups and its count: rows of one
  // track or day ask the same text many times in a row.
  std::string lastQuery;
  int64_t lastCount = 0;
};

}  // namespace

struct VEQOldDBManager::CountCache {
  std::unordered_map<uint64_t, StoreCounts> stores;  // key: queue identity
};

namespace {

using CountCache = VEQOldDBManager::CountCache;

std::optional<StoreStamp> currentStamp(VEQFMDatabase* db) {
  int64_t dataVersion = 0;
  if (!db->queryFirstInteger("PRAGMA data_version", {}, &dataVersion)) return std::nullopt;
  return StoreStamp{dataVersion, db->totalChanges()};
}

// The store's counts, emptied when the store changed since they were made.
StoreCounts& storeCounts(CountCache& cache, uint64_t identity, const StoreStamp& stamp) {
  StoreCounts& store = cache.stores[identity];
  if (!(store.stamp == stamp)) {
    store = StoreCounts{};
    store.stamp = stamp;
  }
  return store;
}

std::optional<GroupCounts> groupCounts(VEQFMDatabase* db, const VEQEqualityFilter& filter) {
  // The identifiers are pasted as the query wrote them (plain words), so a
  // column that does not exist fails here exactly as in the query itself.
  // Counted here, in one pass over the table, rather than with GROUP BY,
  // which sorts the whole table first (the groups merge under canonical
  // texts anyway).
  std::string columns;
  for (const std::string& column : filter.columns) columns += (columns.empty() ? "" : ", ") + column;
  auto rs = db->executeQuery("SELECT " + columns + " FROM " + filter.table);
  if (!rs) return std::nullopt;
  const int n = static_cast<int>(filter.columns.size());
  GroupCounts counts;
  std::string key;
  VEQValue value;  // refilled in place for every value of the pass
  while (rs->next()) {
    key.clear();
    bool comparable = true;  // NULL and BLOB values never equal a literal
    for (int i = 0; comparable && i < n; ++i) {
      rs->assignColumnIndex(i, &value);
      // A BLOB reads as a text of its bytes; only a text can be one.
      comparable = !value.isNull() && !(value.isText() && rs->columnIsBlobAtIndex(i));
      if (comparable) appendCanonical(&key, value);
    }
    if (comparable) ++counts[key];
  }
  if (db->hadError()) return std::nullopt;
  return counts;
}

// The count of `args` in the groups of `filter`, remembered as the answer
// to `sql`, the text they were lifted from.
std::optional<int64_t> countFromGroups(CountCache& cache, VEQFMDatabaseQueue* queue, VEQFMDatabase* db,
                                       const StoreStamp& stamp, const VEQEqualityFilter& filter, const VEQArray& args,
                                       const std::string& sql) {
  StoreCounts& store = storeCounts(cache, queue->identity(), stamp);
  std::string filterKey = filter.table;
  for (const std::string& column : filter.columns) (filterKey += '\0') += column;
  auto groups = store.byFilter.find(filterKey);
  if (groups == store.byFilter.end()) {
    std::optional<GroupCounts> built = groupCounts(db, filter);
    if (!built) return std::nullopt;
    groups = store.byFilter.emplace(std::move(filterKey), std::move(*built)).first;
  }
  std::string key;
  for (const VEQValue& arg : args) appendCanonical(&key, arg);
  auto found = groups->second.find(key);
  store.lastQuery = sql;
  store.lastCount = found == groups->second.end() ? 0 : found->second;
  return store.lastCount;
}

int64_t countByQuery(VEQFMDatabase* db, std::string_view sql, const VEQArray& args) {
  // Trailing ';' would end the subquery early.
  while (!sql.empty() && (sql.back() == ';' || std::isspace(static_cast<unsigned char>(sql.back()))))
    sql.remove_suffix(1);
  // The line break keeps a trailing "-- comment" from swallowing the ')'.
  auto rs = db->executeQuery("SELECT COUNT(*) FROM (" + std::string(sql) + "\n)", args);
  return rs && rs->next() ? rs->objectForColumnIndex(0).integerValue() : 0;
}

}  // namespace

VEQOldDBManager::VEQOldDBManager() : counts_(std::make_unique<CountCache>()) {}
VEQOldDBManager::~VEQOldDBManager() = default;

VEQOldDBManager& VEQOldDBManager::shareInstance() { return VEQCollaboratorState::current().legacyReader(); }

VEQLegacyRows::VEQLegacyRows(VEQFMDatabaseQueue* dbQueue, const std::string& tableName) {
  db_ = openDatabase(dbQueue);
  if (!db_) return;
  const int64_t failedBefore = db_->failedStatementCount();
  if (!tableExists(db_, tableName)) {
    whole_ = db_->failedStatementCount() == failedBefore;
    return;
  }
  rs_ = db_->executeQuery("SELECT * FROM " + sqlIdentifier(tableName));
  if (!rs_) {
    whole_ = false;
    return;
  }
  columns_ = rs_->columnCount();
  auto keys = std::make_shared<VEQDict::Keys>();
  for (int i = 0; i < columns_; ++i) keys->push_back(rs_->columnName(i));
  row_ = VEQDict(std::move(keys), {});
}

VEQLegacyRows::~VEQLegacyRows() = default;

bool VEQLegacyRows::next() {
  if (!rs_) return false;
  // A step that fails ends the result set exactly as the last row does, so
  // the connection's failure count across the step tells them apart.
  const int64_t failedBefore = db_->failedStatementCount();
  if (!rs_->next()) {
    whole_ = db_->failedStatementCount() == failedBefore;
    rs_.reset();
    return false;
  }
  // Assigned in place: the row's texts keep their storage from row to row.
  for (int i = 0; i < columns_; ++i) rs_->assignColumnIndex(i, &row_.valueAt(static_cast<size_t>(i)));
  return true;
}

bool VEQOldDBManager::forEachRowWithDbQueue(VEQFMDatabaseQueue* dbQueue, const std::string& tableName,
                                            const std::function<bool(const VEQDict& row)>& each) {
  VEQLegacyRows rows(dbQueue, tableName);
  while (rows.next()) {
    if (!each(rows.row())) return true;
  }
  return rows.whole();
}

std::vector<VEQDict> VEQOldDBManager::getOneTableAllDataWithDbQueue(VEQFMDatabaseQueue* dbQueue,
                                                                     const std::string& tableName) {
  std::vector<VEQDict> rows;
  forEachRowWithDbQueue(dbQueue, tableName, [&rows](const VEQDict& row) {
    rows.push_back(row);  // copies the values; the key list stays shared
    return true;
  });
  return rows;
}

int64_t VEQOldDBManager::getOneTableCountWithDbQueue(VEQFMDatabaseQueue* dbQueue, const std::string& /*tableName*/,
                                                     const std::string& sqlStr) {
  // The table is taken from the query itself, which is what gets counted.
  VEQFMDatabase* db = openDatabase(dbQueue);
  if (!db) return 0;
  const std::optional<StoreStamp> stamp = currentStamp(db);
  CountCache& cache = *shareInstance().counts_;
  if (stamp) {
    const StoreCounts& store = storeCounts(cache, dbQueue->identity(), *stamp);
    if (!store.lastQuery.empty() && store.lastQuery == sqlStr) return store.lastCount;
  }
  const std::optional<VEQLiftedQuery> lifted = veqLiftLiterals(sqlStr);
  if (!lifted) return countByQuery(db, sqlStr, {});
  const std::optional<VEQEqualityFilter> filter = veqEqualityFilter(*lifted);
  if (stamp && filter) {
    if (const std::optional<int64_t> count = countFromGroups(cache, dbQueue, db, *stamp, *filter, lifted->args, sqlStr))
      return *count;
  }
  return countByQuery(db, lifted->sql, lifted->args);
}

void VEQOldDBManager::clearCountCache(VEQFMDatabaseQueue* dbQueue) { shareInstance().forgetCounts(dbQueue); }

void VEQOldDBManager::forgetCounts(VEQFMDatabaseQueue* dbQueue) {
  if (dbQueue) {
    counts_->stores.erase(dbQueue->identity());
  } else {
    counts_->stores.clear();
  }
}

}  // namespace veq
