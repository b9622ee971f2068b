#include "collaborators/fmdb_database.h"

#include <sqlite3.h>

#include <cctype>
#include <strings.h>

#include "collaborators/json.h"

namespace veq {

namespace {

// How long a statement waits for another connection's lock before failing.
constexpr int kBusyTimeoutMs = 5000;

const char* sqliteMessage(sqlite3* db, int rc) {
  return db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
}

// True when the parameter at `index` is written as an explicitly numbered
// "?NNN" parameter (anonymous "?" has no name; ":x", "@x", "$x" have other
// prefixes).
bool isNumberedParameter(sqlite3_stmt* stmt, int index) {
  const char* name = sqlite3_bind_parameter_name(stmt, index);
  if (!name || name[0] != '?' || name[1] == '\0') return false;
  for (const char* p = name + 1; *p; ++p)
    if (*p < '0' || *p > '9') return false;
  return true;
}

// How a value goes to SQLite, for a parameter and for a virtual table's
// column alike: null, integer (a boolean as 0 or 1), real, text, and a list
// or dictionary as its JSON text. `text` is the destructor for a text the
// caller keeps alive; JSON is always copied.
template <typename Sink>
int passValue(const VEQValue& value, sqlite3_destructor_type text, Sink&& sink) {
  switch (value.kind()) {
    case VEQValue::Kind::Null: return sink.null();
    case VEQValue::Kind::Bool: return sink.integer(value.boolValue() ? 1 : 0);
    case VEQValue::Kind::Integer: return sink.integer(value.integerValue());
    case VEQValue::Kind::Real: return sink.real(value.doubleValue());
    case VEQValue::Kind::Text: return sink.text(value.text(), text);
    case VEQValue::Kind::Array:
    case VEQValue::Kind::Dict: return sink.text(objectToJsonString(value).value_or(std::string()), SQLITE_TRANSIENT);
  }
  return SQLITE_MISUSE;
}

// `text` says how SQLite treats a bound text: SQLITE_STATIC when the
// argument list outlives the statement's use (an update steps to the end
// before returning), SQLITE_TRANSIENT when SQLite must copy it.
int bindValue(sqlite3_stmt* stmt, int index, const VEQValue& value, sqlite3_destructor_type text) {
  struct Bind {
    sqlite3_stmt* stmt;
    int index;
    int null() const { return sqlite3_bind_null(stmt, index); }
    int integer(int64_t v) const { return sqlite3_bind_int64(stmt, index, v); }
    int real(double v) const { return sqlite3_bind_double(stmt, index, v); }
    int text(const std::string& chars, sqlite3_destructor_type d) const {
      return sqlite3_bind_text64(stmt, index, chars.data(), chars.size(), d, SQLITE_UTF8);
    }
  };
  return passValue(value, text, Bind{stmt, index});
}

}  // namespace

void veqResultValue(sqlite3_context* context, const VEQValue& value) {
  struct Result {
    sqlite3_context* context;
    int null() const { return sqlite3_result_null(context), SQLITE_OK; }
    int integer(int64_t v) const { return sqlite3_result_int64(context, v), SQLITE_OK; }
    int real(double v) const { return sqlite3_result_double(context, v), SQLITE_OK; }
    int text(const std::string& chars, sqlite3_destructor_type d) const {
      return sqlite3_result_text64(context, chars.data(), chars.size(), d, SQLITE_UTF8), SQLITE_OK;
    }
  };
  passValue(value, SQLITE_STATIC, Result{context});
}

VEQFMDatabase::VEQFMDatabase(std::string path) : path_(std::move(path)) {}

VEQFMDatabase::~VEQFMDatabase() { close(); }

std::shared_ptr<VEQFMDatabase> VEQFMDatabase::databaseWithPath(std::string path) {
  return std::make_shared<VEQFMDatabase>(std::move(path));
}

bool VEQFMDatabase::disableMemoryStatistics() {
  return sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK;
}

bool VEQFMDatabase::open() { return openWithFlags(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE); }

bool VEQFMDatabase::openWithFlags(int flags) {
  if (db_) return true;
  sqlite3* db = nullptr;
  // One thread uses a connection at a time (the queue serialises callers),
  // so SQLite's per-connection mutex is pure overhead on every call.
  if (!(flags & SQLITE_OPEN_FULLMUTEX)) flags |= SQLITE_OPEN_NOMUTEX;
  int rc = sqlite3_open_v2(path_.c_str(), &db, flags, nullptr);
  if (rc == SQLITE_OK) {
    sqlite3_busy_timeout(db, kBusyTimeoutMs);
    // Opening is lazy: a file that is not a database, or cannot be read,
    // only fails on the first read of the schema.
    rc = sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
  }
  if (rc != SQLITE_OK) {
    lastError_ = sqliteMessage(db, rc);
    lastErrorCode_ = rc;
    sqlite3_close_v2(db);
    return false;
  }
  db_ = db;
  clearError();
  return true;
}

bool VEQFMDatabase::close() {
  if (!db_) return true;
  while (!openResultSets_.empty()) (*openResultSets_.begin())->close();
  statements_.clear();
  transactionCache_.reset();
  connectionCache_.reset();
  const int rc = sqlite3_close_v2(db_);
  db_ = nullptr;
  return rc == SQLITE_OK;
}

void VEQFMDatabase::recordError(std::string message, int code) {
  if (firstErrorSinceMark_.empty()) firstErrorSinceMark_ = message;
  if ((code & 0xff) < 32) codesSinceMark_ |= 1u << (code & 0xff);
  lastError_ = std::move(message);
  lastErrorCode_ = code;
  ++failedStatements_;
}

void VEQFMDatabase::markErrors() {
  firstErrorSinceMark_.clear();
  codesSinceMark_ = 0;
  failedAtMark_ = failedStatements_;
}

void VEQFMDatabase::clearError() {
  lastError_.clear();
  lastErrorCode_ = 0;
}

void VEQFMDatabase::setMaxCachedStatements(size_t n) { statements_.setCapacity(n); }

// Hands out the cached statement for `sql`, or a fresh one when it is not
// cached or is held by an open result set. Null on failure (error recorded).
sqlite3_stmt* VEQFMDatabase::acquireStatement(std::string_view sql, VEQCachedStatement** entry) {
  *entry = nullptr;
  if (!db_) {
    recordError("The database is not open.", SQLITE_MISUSE);
    return nullptr;
  }
  if (transactionLost()) return nullptr;
  bool cached = false;
  if (VEQCachedStatement* idle = statements_.checkOut(sql, &cached)) {
    *entry = idle;
    return idle->stmt;
  }
  const bool cacheIt = !cached && statements_.capacity() > 0;
  sqlite3_stmt* stmt = nullptr;
  ++prepares_;
  const int rc = sqlite3_prepare_v3(db_, sql.data(), static_cast<int>(sql.size()),
                                    cacheIt ? SQLITE_PREPARE_PERSISTENT : 0, &stmt, nullptr);
  if (rc != SQLITE_OK || !stmt) {
    sqlite3_finalize(stmt);
    recordError(rc != SQLITE_OK ? sqlite3_errmsg(db_) : "The text holds no SQL statement.",
                rc != SQLITE_OK ? rc : SQLITE_MISUSE);
    return nullptr;
  }
  if (cacheIt) *entry = statements_.add(sql, stmt);
  return stmt;
}

namespace {

// Whether a statement text is a ROLLBACK (of the transaction or to a
// savepoint), which can bring back rows and values the statements after
// the savepoint had changed.
bool isRollback(const char* sql) {
  if (sql == nullptr) return false;
  while (std::isspace(static_cast<unsigned char>(*sql))) ++sql;
  return strncasecmp(sql, "ROLLBACK", 8) == 0;
}

}  // namespace

void VEQFMDatabase::releaseStatement(sqlite3_stmt* stmt, VEQCachedStatement* entry) {
  // Outside a transaction now, or back at a savepoint: what the transaction
  // cache knew may be stale.
  if (transactionCache_.has_value() &&
      (db_ == nullptr || sqlite3_get_autocommit(db_) || isRollback(sqlite3_sql(stmt)))) {
    transactionCache_.reset();
  }
  if (entry == nullptr) {
    sqlite3_finalize(stmt);
    return;
  }
  statements_.checkIn(entry);
}

bool VEQFMDatabase::checkArgumentCount(sqlite3_stmt* stmt, int given) {
  const int parameters = sqlite3_bind_parameter_count(stmt);
  bool countOk = given <= parameters;
  for (int i = given + 1; countOk && i <= parameters; ++i) countOk = isNumberedParameter(stmt, i);
  if (!countOk) {
    recordError("The statement takes " + std::to_string(parameters) + " arguments but " + std::to_string(given) +
                    " were given.",
                SQLITE_RANGE);
    return false;
  }
  // A cached statement keeps its last bindings; parameters this call leaves
  // out must read NULL.
  if (given < parameters) sqlite3_clear_bindings(stmt);
  return true;
}

bool VEQFMDatabase::bindArguments(sqlite3_stmt* stmt, const VEQArray& args, bool argsOutliveUse) {
  const int given = static_cast<int>(args.size());
  if (!checkArgumentCount(stmt, given)) return false;
  for (int i = 0; i < given; ++i) {
    const int rc =
        bindValue(stmt, i + 1, args[static_cast<size_t>(i)], argsOutliveUse ? SQLITE_STATIC : SQLITE_TRANSIENT);
    if (rc != SQLITE_OK) {
      recordError(sqlite3_errmsg(db_), rc);
      return false;
    }
  }
  return true;
}

bool VEQFMDatabase::executeUpdate(std::string_view sql, const VEQArray& args) {
  VEQCachedStatement* entry = nullptr;
  sqlite3_stmt* stmt = acquireStatement(sql, &entry);
  if (!stmt) return false;
  bool ok = bindArguments(stmt, args, /*argsOutliveUse=*/true);
  if (ok) {
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    }
    ok = rc == SQLITE_DONE;
    if (!ok) recordError(sqlite3_errmsg(db_), rc);
  }
  releaseStatement(stmt, entry);
  if (ok) clearError();
  return ok;
}

std::unique_ptr<VEQFMResultSet> VEQFMDatabase::executeQuery(std::string_view sql, const VEQArray& args) {
  VEQCachedStatement* entry = nullptr;
  sqlite3_stmt* stmt = acquireStatement(sql, &entry);
  if (!stmt) return nullptr;
  std::unique_ptr<VEQFMResultSet> rs(new VEQFMResultSet(this, stmt, entry));
  if (!bindArguments(stmt, args, /*argsOutliveUse=*/false)) return nullptr;  // rs releases the statement
  clearError();
  return rs;
}

bool VEQFMDatabase::queryFirstInteger(std::string_view sql, std::span<const VEQSqlParam> params, int64_t* value) {
  VEQCachedStatement* entry = nullptr;
  sqlite3_stmt* stmt = acquireStatement(sql, &entry);
  if (!stmt) return false;
  const int given = static_cast<int>(params.size());
  bool ok = checkArgumentCount(stmt, given);
  for (int i = 0; ok && i < given; ++i) {
    const VEQSqlParam& p = params[static_cast<size_t>(i)];
    const int rc = p.isText ? sqlite3_bind_text64(stmt, i + 1, p.chars.data(), p.chars.size(), SQLITE_STATIC,
                                                  SQLITE_UTF8)
                            : sqlite3_bind_int64(stmt, i + 1, p.number);
    if (rc != SQLITE_OK) {
      recordError(sqlite3_errmsg(db_), rc);
      ok = false;
    }
  }
  bool found = false;
  if (ok) {
    clearError();
    const int rc = sqlite3_step(stmt);
    found = rc == SQLITE_ROW;
    if (found) {
      *value = sqlite3_column_int64(stmt, 0);
    } else if (rc != SQLITE_DONE) {
      recordError(sqlite3_errmsg(db_), rc);
    }
  }
  releaseStatement(stmt, entry);
  return found;
}

bool VEQFMDatabase::executeStatements(std::string_view sql) {
  if (!db_) {
    recordError("The database is not open.", SQLITE_MISUSE);
    return false;
  }
  if (transactionLost()) return false;
  const std::string text(sql);
  const int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    recordError(sqlite3_errmsg(db_), rc);
    return false;
  }
  clearError();
  return true;
}

bool VEQFMDatabase::beginTransaction() { return executeUpdate("BEGIN"); }
bool VEQFMDatabase::commit() { return executeUpdate("COMMIT"); }
bool VEQFMDatabase::rollback() { return executeUpdate("ROLLBACK"); }

bool VEQFMDatabase::isInTransaction() const { return db_ && !sqlite3_get_autocommit(db_); }

bool VEQFMDatabase::transactionLost() {
  if (!inQueueTransaction_ || !sqlite3_get_autocommit(db_)) return false;
  recordError("not run: the transaction was rolled back after an earlier error", SQLITE_ABORT);
  return true;
}

int64_t VEQFMDatabase::lastInsertRowId() const { return db_ ? sqlite3_last_insert_rowid(db_) : 0; }

int VEQFMDatabase::changes() const { return db_ ? sqlite3_changes(db_) : 0; }

int64_t VEQFMDatabase::totalChanges() const { return db_ ? sqlite3_total_changes64(db_) : 0; }

}  // namespace veq
