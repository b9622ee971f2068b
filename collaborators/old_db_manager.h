// old_db_manager.h — the legacy-database reader.
//
// Reads rows of a legacy SQLite store through its queue's database, on the
// calling thread and without taking the queue: the reader runs inside the
// new database's transaction callback, and the caller may even hand the same
// queue for both. A null queue or a closed database reads as an empty store.
//
// getOneTableAllDataWithDbQueue: all rows of a table in stored order, as
// dictionaries that share one key list (the table's column names). Values
// keep their SQLite type: INTEGER → integer, REAL → real, TEXT → text, BLOB
// → text of its bytes, NULL → the null value (so it reads like a missing
// column). A missing or empty table gives an empty list, never a failure.
//
// forEachRowWithDbQueue: the same rows, values and rules, read one at a time
// into one reused row: `each` sees the row only during its call (copy it to
// keep it) and returns false to stop reading. A table of a million rows then
// costs one row of memory instead of the list. The read keeps a statement of
// the legacy database open while `each` runs; `each` may query the store
// (counts) but must not write the table being read. It returns false when
// the table could not be read to its end (an I/O error or a damaged page
// partway through: the error is the legacy database's last), true when it
// was, when `each` stopped it, and for a missing table or a null queue.
//
// VEQLegacyRows is that same read pulled one row at a time: next() reads
// the following row into row() (valid until the next call), false at the
// end or at a failed step; whole() then tells them apart. Between calls the
// caller may query the store as `each` may; those queries' failures are not
// the read's. A SQLite engine that pulls rows itself (a virtual table
// feeding an INSERT) reads the legacy table through it.
//
// getOneTableCountWithDbQueue: the number of rows a query yields, 0 when the
// query fails. Item counts are asked once per day row of tables that may
// hold a million items, so a query of the shape
//     SELECT * FROM <table> WHERE <c1> = <literal> [AND <c2> = <literal>]…
// is answered from grouped counts instead: one pass of
//     SELECT c1, c2 FROM <table>
// per store, table and column list, counted in a hash map keyed by the
// canonical text of the values. Canonical text: an integer in decimal, a
// whole real as that integer, any other real in its shortest round-trip
// form, a text as it is. So the text '5' and the number 5 (and 5.0) count as
// one key, which is how SQLite compares them in a column of INTEGER, NUMERIC
// or TEXT affinity — the columns these filters read. (In a column without
// affinity holding both the text '5' and the number 5, or one with a
// non-binary collation, the grouped count may differ from the query's.)
// NULL and BLOB values never equal a literal and are not counted. The cache
// is keyed by the queue's identity() and rebuilt when the store changed
// since it was built (PRAGMA data_version for other connections' commits,
// the connection's total change count for its own writes). The last text
// answered from the groups is remembered with its count, under the same
// rule, so the rows of one track asking the same text cost no lifting.
// Other query shapes are counted with "SELECT COUNT(*) FROM (<query>)".
//
// The Android store handles and the grouped counts belong to one migration:
// shareInstance() is the reader of the calling thread's current
// collaborator state (collaborator_state.h), and the static operations keep
// their counts there. Not locked: a state is used by one thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/value.h"

namespace veq {

class VEQLegacyRows {
 public:
  VEQLegacyRows(VEQFMDatabaseQueue* dbQueue, const std::string& tableName);
  ~VEQLegacyRows();
  VEQLegacyRows(const VEQLegacyRows&) = delete;
  VEQLegacyRows& operator=(const VEQLegacyRows&) = delete;

  bool next();
  const VEQDict& row() const { return row_; }
  // False when a step failed (or the query could not start): the table was
  // not read to its end.
  bool whole() const { return whole_; }

 private:
  VEQFMDatabase* db_ = nullptr;
  std::unique_ptr<VEQFMResultSet> rs_;
  VEQDict row_;
  int columns_ = 0;
  bool whole_ = true;
};

class VEQOldDBManager {
 public:
  static VEQOldDBManager& shareInstance();

  static std::vector<VEQDict> getOneTableAllDataWithDbQueue(VEQFMDatabaseQueue* dbQueue,
                                                             const std::string& tableName);
  static bool forEachRowWithDbQueue(VEQFMDatabaseQueue* dbQueue, const std::string& tableName,
                                    const std::function<bool(const VEQDict& row)>& each);
  static int64_t getOneTableCountWithDbQueue(VEQFMDatabaseQueue* dbQueue,
                                             const std::string& tableName,
                                             const std::string& sqlStr);
  // Forgets cached counts of one store (all stores when null); call after
  // the legacy store changed. clearCountCache works on shareInstance().
  static void clearCountCache(VEQFMDatabaseQueue* dbQueue = nullptr);
  void forgetCounts(VEQFMDatabaseQueue* dbQueue = nullptr);

  VEQFMDatabaseQueue* androidQueue() const { return androidQueue_; }
  void setAndroidQueue(VEQFMDatabaseQueue* queue) { androidQueue_ = queue; }
  VEQFMDatabaseQueue* androidCloudQueue() const { return androidCloudQueue_; }
  void setAndroidCloudQueue(VEQFMDatabaseQueue* queue) { androidCloudQueue_ = queue; }

  VEQOldDBManager(const VEQOldDBManager&) = delete;
  VEQOldDBManager& operator=(const VEQOldDBManager&) = delete;
  ~VEQOldDBManager();

  struct CountCache;

 private:
  friend class VEQCollaboratorState;
  VEQOldDBManager();

  VEQFMDatabaseQueue* androidQueue_ = nullptr;
  VEQFMDatabaseQueue* androidCloudQueue_ = nullptr;
  std::unique_ptr<CountCache> counts_;
};

}  // namespace veq
