// fmdb_database.h — one SQLite connection of the database layer (fmdb.h).
//
// VEQFMDatabase wraps one sqlite3 connection.
//   * executeUpdate(sql, args) binds `args` to the statement's parameters in
//     order (?1, ?2, ...) and steps it to completion. Binding by kind: null →
//     NULL, boolean → 0/1, integer → INTEGER, real → REAL, text → TEXT, array
//     or dictionary → its JSON text.
//   * Argument count rule: the list must hold exactly as many values as the
//     statement has parameters. A statement written with explicitly numbered
//     parameters (?NNN) may be given fewer: the parameters past the end of
//     the list stay NULL. Anonymous `?` parameters must all be bound, so a
//     short list for an ordinary statement fails instead of writing NULLs.
//     More values than parameters always fail.
//   * Every statement text is prepared once per connection and kept in a
//     bounded least-recently-used cache (default 256 statements), so
//     repeating texts (the catalogue's statements, a model's UPDATE/INSERT)
//     cost one preparation. A statement in use by an open result set is not
//     reused until that result set closes. A text passed again from the same
//     address is found without hashing it (its characters are compared).
//   * Failures never throw: the call returns false (or nullptr), the message
//     is kept in lastErrorMessage() (and in firstErrorSinceMark() when it is
//     the first since markErrors()), and failedStatementCount() counts it.
//   * Inside a VEQFMDatabaseQueue transaction, once SQLite has ended the
//     transaction on its own (it rolls back after some I/O errors, a full
//     disk or a lack of memory), every further statement of the callback
//     fails with SQLITE_ABORT without running: what was meant for the
//     transaction is never written outside it, in autocommit mode, and kept.
//
//   * queryFirstInteger(sql, params, &value) is the lean form of a one-value
//     look-up (executeQuery, next, read column 0 as an integer) for
//     statements run once per legacy row: no result set object, texts bound
//     without a copy, and the statement goes straight back to the cache.
//     The parameters must be exactly as many as the statement's.
//   * Bindings are cleared only when a call binds fewer values than the
//     statement has parameters (the numbered ones left NULL); a call that
//     rebinds every parameter does not pay for clearing them.
//   * transactionCache<T>() is one object of type T that the layers above
//     may fill with what they learnt of the database inside the current
//     transaction (for instance the highest key of a table). It is emptied
//     whenever a statement of this object finishes while the connection is
//     outside a transaction (a COMMIT, a ROLLBACK, any autocommit
//     statement), after a ROLLBACK TO a savepoint (which can bring back
//     rows and values) and when the database closes, so nothing in it
//     survives the transaction it was learnt in, when another connection
//     could have written. Writes inside the transaction are the filler's to account
//     for: totalChanges() counts every row this connection has inserted,
//     updated or deleted, triggers included. Asking for another type
//     replaces the object. Statements run on sqliteHandle() directly are
//     not seen.
//   * close() closes the open result sets first, then finalizes the cached
//     statements and empties the transaction cache.
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>

#include "collaborators/fmdb_result_set.h"
#include "collaborators/fmdb_statement_cache.h"
#include "collaborators/value.h"

struct sqlite3;
struct sqlite3_stmt;
struct sqlite3_context;

namespace veq {

// One parameter of VEQFMDatabase::queryFirstInteger: a text, bound without
// a copy (its bytes must stay valid during the call), or an integer.
struct VEQSqlParam {
  static VEQSqlParam text(std::string_view chars) { return {true, chars, 0}; }
  static VEQSqlParam integer(int64_t value) { return {false, {}, value}; }
  bool isText;
  std::string_view chars;
  int64_t number;
  bool operator==(const VEQSqlParam&) const = default;
};

// Sets a virtual table column's (or function's) result to `value`, as
// executeUpdate binds it: null, integer (a boolean as 0 or 1), real, text,
// a list or dictionary as its JSON text. A text is not copied: it must stay
// unchanged until SQLite has used the result.
void veqResultValue(sqlite3_context* context, const VEQValue& value);

class VEQFMDatabase {
 public:
  explicit VEQFMDatabase(std::string path);
  ~VEQFMDatabase();
  VEQFMDatabase(const VEQFMDatabase&) = delete;
  VEQFMDatabase& operator=(const VEQFMDatabase&) = delete;

  static std::shared_ptr<VEQFMDatabase> databaseWithPath(std::string path);
  // Turns SQLite's process-wide memory statistics off: they take a lock and
  // update counters on every allocation, several per migrated row. Only
  // before SQLite is first used in the process (a later call changes
  // nothing and returns false); for programs that never read them.
  static bool disableMemoryStatistics();

  const std::string& databasePath() const { return path_; }

  // Opens read-write, creating the file if needed. True when the database
  // is open or could be opened.
  bool open();
  // Opens with explicit sqlite3_open_v2 flags (e.g. read-only for a legacy
  // store). Also checks that the file is a readable SQLite database.
  bool openWithFlags(int flags);
  bool close();
  bool isOpen() const { return db_ != nullptr; }

  bool executeUpdate(std::string_view sql, const VEQArray& args = {});
  std::unique_ptr<VEQFMResultSet> executeQuery(std::string_view sql, const VEQArray& args = {});
  // True, with the first column of the first row in *value, when the query
  // yields a row; false when it yields none or fails (error kept as above).
  bool queryFirstInteger(std::string_view sql, std::span<const VEQSqlParam> params, int64_t* value);
  // Runs several ';'-separated statements without arguments (schema scripts).
  bool executeStatements(std::string_view sql);

  bool beginTransaction();
  bool commit();
  bool rollback();
  bool isInTransaction() const;

  std::string lastErrorMessage() const { return lastError_; }
  int lastErrorCode() const { return lastErrorCode_; }
  bool hadError() const { return lastErrorCode_ != 0; }
  // Statements that failed (prepare, bind or step) since this object was made.
  int64_t failedStatementCount() const { return failedStatements_; }
  // A mark for attributing failures to one piece of work (a legacy table):
  // after markErrors(), failedSinceMark() counts the statements that failed
  // and firstErrorSinceMark() keeps the message of the first of them ("" when
  // none failed), however many succeed or fail after it;
  // failedSinceMarkWith(code) tells whether one of them failed with that
  // primary result code (SQLITE_IOERR, SQLITE_FULL …).
  void markErrors();
  bool failedSinceMarkWith(int primaryCode) const {
    return primaryCode > 0 && primaryCode < 32 && (codesSinceMark_ >> primaryCode & 1u) != 0;
  }
  int64_t failedSinceMark() const { return failedStatements_ - failedAtMark_; }
  const std::string& firstErrorSinceMark() const { return firstErrorSinceMark_; }
  int64_t lastInsertRowId() const;
  int changes() const;
  int64_t totalChanges() const;

  // What lives exactly as long as this connection: the layers above keep
  // per-connection set-up here (the record stream's module). Gone at close().
  template <typename T>
  T& connectionCache() {
    T* cached = std::any_cast<T>(&connectionCache_);
    return cached != nullptr ? *cached : connectionCache_.emplace<T>();
  }

  template <typename T>
  T& transactionCache() {
    T* cached = std::any_cast<T>(&transactionCache_);
    return cached != nullptr ? *cached : transactionCache_.emplace<T>();
  }

  // Statement cache.
  void setMaxCachedStatements(size_t n);
  size_t cachedStatementCount() const { return statements_.size(); }
  // Number of sqlite3_prepare calls made so far (for tests and profiling).
  int64_t prepareCount() const { return prepares_; }

  sqlite3* sqliteHandle() const { return db_; }

 private:
  friend class VEQFMResultSet;
  friend class VEQFMDatabaseQueue;

  // `entry` receives the statement's cache entry, or nullptr when the
  // statement is not cached (then releasing it finalizes it).
  sqlite3_stmt* acquireStatement(std::string_view sql, VEQCachedStatement** entry);
  void releaseStatement(sqlite3_stmt* stmt, VEQCachedStatement* entry);
  // Checks the count rule for `given` values; clears stale bindings when
  // fewer than all parameters will be bound.
  bool checkArgumentCount(sqlite3_stmt* stmt, int given);
  bool bindArguments(sqlite3_stmt* stmt, const VEQArray& args, bool argsOutliveUse);
  void recordError(std::string message, int code);
  // True (the failure recorded) when SQLite ended the queue's transaction.
  bool transactionLost();
  void clearError();

  std::string path_;
  sqlite3* db_ = nullptr;
  VEQFMStatementCache statements_;
  std::unordered_set<VEQFMResultSet*> openResultSets_;
  std::string lastError_;
  int lastErrorCode_ = 0;
  int64_t failedStatements_ = 0;
  int64_t failedAtMark_ = 0;
  std::string firstErrorSinceMark_;
  uint32_t codesSinceMark_ = 0;  // bit n: a statement failed with primary code n
  bool inQueueTransaction_ = false;  // inside VEQFMDatabaseQueue::inTransaction's callback
  int64_t prepares_ = 0;
  std::any transactionCache_;
  std::any connectionCache_;
};

}  // namespace veq
