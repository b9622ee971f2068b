// record_stream.h — the record writer: how the health records a legacy
// table's conversions produce reach the new database.
//
// A conversion says what a row becomes (a record, or a skip with its
// reason); the writer decides how the record is written. Row by row, each
// record costs its own statements (look-up or update by keys, then INSERT).
// On a first migration almost every record's keys lie above everything its
// table holds for the device (key_marks.h), so writing it is one INSERT of
// its values and nothing else. Such records are streamed: one statement
//
//   INSERT OR FAIL INTO <table> (…) SELECT c0, c1, … FROM veq_record_stream
//
// pulls them one by one from an eponymous virtual table whose cursor is
// this writer. SQLite asks the cursor for row k+1 only after row k is in
// the table and its index, so that is where row k is reported; and only
// then does the writer read the next legacy row and convert it.
//
// For each legacy row, on the calling thread, in stored order:
//   1. read the row, begin its row report, convert it while the writer
//      collects the records the conversion hands to veqUpsertHealthRecord
//      (nothing is written during the conversion);
//   2. no record (a skip, a kept row): report it at once;
//   3. one record whose keys the marks know absent, for the table the
//      running statement feeds: hand it to the statement; it is reported
//      "inserted", its keys are noted, and its callback runs when SQLite
//      asks for the next row;
//      A record to insert once that the marks know is there already (a
//      track's head, written by the track's first point) is left as it is
//      before the row's last record, as the row-by-row write leaves it;
//   4. anything else (a record at or below its device's mark, a record for
//      another table, two records from one row, a look-up the marks cannot
//      answer): the running statement ends, the records are written row by
//      row with veqWriteHealthRecord as the straightforward path writes them,
//      the row is reported, and a new statement streams on from the next row
//      that can stream.
// So every row gets the outcome, callback and records the row-by-row path
// gives it, in the same order, and each callback comes after its row's
// write: a callback may read the database and finds its row there.
//
// Failures:
//   * A row that breaks a constraint (or a trigger's RAISE(FAIL)) ends the
//     statement with SQLite's message; OR FAIL keeps the rows before it. The
//     row is reported "write failed" with that message, and the rows after
//     it go on as after any failed write.
//   * A statement that fails otherwise (a full disk, an I/O error) may take
//     back rows it already reported: SQLite rolls back the whole statement.
//     When the connection's change count shows that rows were taken back,
//     run() returns false and the driver rolls the table back; no later row
//     is read. (The plan stops at such errors anyway, table rolled back.)
//   * A conversion or callback that throws: the statement is ended at once
//     (rows so far stay, each reported), and the exception is rethrown from
//     run() after SQLite is out of the way; nothing throws through SQLite.
//   * When SQLite fills the table from a buffer instead of row by row (a
//     trigger on the table makes it read the whole SELECT first), the cursor
//     notices that the row it handed out is not yet in the table: it ends
//     the statement there and reports the row once the statement is done.
//
// The writer belongs to a migration session (one table at a time); the
// virtual table is registered once per connection. Health routines write
// only through veqUpsertHealthRecord; with the session's straightforward
// paths on, the driver does not use the writer at all.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "migration/health_record.h"

namespace veq {

class VEQRecordWriter {
 public:
  VEQRecordWriter();
  ~VEQRecordWriter();
  VEQRecordWriter(const VEQRecordWriter&) = delete;
  VEQRecordWriter& operator=(const VEQRecordWriter&) = delete;

  // One legacy table, whose first row is already read. `next` reads the
  // following row (false at the end); `convert` begins the current row's
  // report and converts the row, returning the routine's result; `report`
  // reports the current row with that result. Returns false when a failed
  // statement took back rows already reported (the caller rolls back).
  bool run(VEQFMDatabase* db, const std::function<bool()>& next, const std::function<bool()>& convert,
           const std::function<void(bool)>& report);

  // True while a conversion runs under run(): veqUpsertHealthRecord then
  // hands its record over with take() instead of writing it.
  bool collecting() const { return collecting_; }
  void take(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record, VEQHealthWrite write);

  // The virtual table's cursor (record_stream.cpp).
  struct Cursor;

 private:
  enum class Kind { kNoWrite, kStream, kDirect };
  struct Write {
    VEQFMDatabase* db;
    std::string existsSql;
    VEQHealthRecord record;
    VEQHealthWrite write;
    VEQReadLookup lookup;  // existsSql read once, when the row's records are all in
  };

  bool pullRow();
  void convertRow();
  void writeRowByRow();
  bool streamRows();
  void yieldRow();
  void confirmRow();
  void cursorNext();

  VEQFMDatabase* db_ = nullptr;
  const std::function<bool()>* next_ = nullptr;
  const std::function<bool()>* convert_ = nullptr;
  const std::function<void(bool)>* report_ = nullptr;

  bool collecting_ = false;
  std::vector<Write> writes_;  // the current row's records: the first writeCount_
  size_t writeCount_ = 0;
  size_t streamAt_ = 0;        // the record a streamed row hands out
  bool ended_ = false;         // the legacy rows are all read
  bool result_ = true;         // the current row's routine result
  Kind kind_ = Kind::kNoWrite;
  VEQRecordKeyArguments keys_;

  // The running statement.
  VEQHealthTable table_{};
  VEQArray args_;            // the values of the row handed to it
  bool inFlight_ = false;    // a row handed out, not yet reported
  bool held_ = false;        // a converted row waits that this statement cannot take
  bool eof_ = false;
  int64_t rowidAtYield_ = 0;
  int64_t confirmed_ = 0;    // rows of this statement reported inserted
  std::exception_ptr error_;
};

}  // namespace veq
