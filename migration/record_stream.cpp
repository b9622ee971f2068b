// record_stream.cpp — the record writer and its virtual table.

#include "migration/record_stream.h"

#include <sqlite3.h>

#include <string_view>

#include "collaborators/health_sql.h"
#include "collaborators/key_marks.h"
#include "migration/migration_session.h"
#include "migration/row_outcome.h"

namespace veq {

// ---- The virtual table -------------------------------------------------------
//
// Eponymous only (no CREATE VIRTUAL TABLE): "veq_record_stream" exists on
// every connection the module is registered on. It has no constraints to
// use and one cursor at a time; the cursor is the current session's writer.

struct VEQRecordWriter::Cursor {
  sqlite3_vtab_cursor base{};
  VEQRecordWriter* writer = nullptr;
  sqlite3_int64 position = 0;

  static int connect(sqlite3* db, void*, int, const char* const*, sqlite3_vtab** vtab, char**) {
    static const std::string schema = health_tables::recordStreamSchema();
    const int rc = sqlite3_declare_vtab(db, schema.c_str());
    if (rc != SQLITE_OK) return rc;
    *vtab = static_cast<sqlite3_vtab*>(sqlite3_malloc(sizeof(sqlite3_vtab)));
    if (*vtab == nullptr) return SQLITE_NOMEM;
    **vtab = sqlite3_vtab{};
    return SQLITE_OK;
  }
  static int disconnect(sqlite3_vtab* vtab) {
    sqlite3_free(vtab);
    return SQLITE_OK;
  }
  static int bestIndex(sqlite3_vtab*, sqlite3_index_info* info) {
    info->estimatedCost = 1e6;
    return SQLITE_OK;
  }
  static int open(sqlite3_vtab*, sqlite3_vtab_cursor** cursor) {
    *cursor = &(new Cursor)->base;
    return SQLITE_OK;
  }
  static int close(sqlite3_vtab_cursor* cursor) {
    delete reinterpret_cast<Cursor*>(cursor);
    return SQLITE_OK;
  }
  static int filter(sqlite3_vtab_cursor* base, int, const char*, int, sqlite3_value**) {
    Cursor& c = *reinterpret_cast<Cursor*>(base);
    c.writer = &VEQMigrationSession::current().recordWriter();
    // The writer holds the statement's first row, converted.
    try {
      c.writer->yieldRow();
    } catch (...) {
      c.writer->error_ = std::current_exception();
      c.writer->eof_ = true;
    }
    c.position = 1;
    return SQLITE_OK;
  }
  static int next(sqlite3_vtab_cursor* base) {
    Cursor& c = *reinterpret_cast<Cursor*>(base);
    c.writer->cursorNext();
    ++c.position;
    return SQLITE_OK;
  }
  static int eof(sqlite3_vtab_cursor* base) {
    const Cursor& c = *reinterpret_cast<Cursor*>(base);
    return c.writer == nullptr || c.writer->eof_ ? 1 : 0;
  }
  static int column(sqlite3_vtab_cursor* base, sqlite3_context* ctx, int i) {
    const Cursor& c = *reinterpret_cast<Cursor*>(base);
    const VEQArray& args = c.writer->args_;
    if (i < 0 || static_cast<size_t>(i) >= args.size()) {
      sqlite3_result_null(ctx);  // past the record's last value (a short layout)
      return SQLITE_OK;
    }
    // The values as the row-by-row INSERT binds them. They stay put until
    // SQLite asks for the next row, after it has written this one.
    veqResultValue(ctx, args[static_cast<size_t>(i)]);
    return SQLITE_OK;
  }
  static int rowid(sqlite3_vtab_cursor* base, sqlite3_int64* id) {
    *id = reinterpret_cast<Cursor*>(base)->position;
    return SQLITE_OK;
  }
};

namespace {

const sqlite3_module kModule = [] {
  sqlite3_module m{};
  m.iVersion = 0;
  m.xCreate = nullptr;  // eponymous only
  m.xConnect = &VEQRecordWriter::Cursor::connect;
  m.xBestIndex = &VEQRecordWriter::Cursor::bestIndex;
  m.xDisconnect = &VEQRecordWriter::Cursor::disconnect;
  m.xDestroy = &VEQRecordWriter::Cursor::disconnect;
  m.xOpen = &VEQRecordWriter::Cursor::open;
  m.xClose = &VEQRecordWriter::Cursor::close;
  m.xFilter = &VEQRecordWriter::Cursor::filter;
  m.xNext = &VEQRecordWriter::Cursor::next;
  m.xEof = &VEQRecordWriter::Cursor::eof;
  m.xColumn = &VEQRecordWriter::Cursor::column;
  m.xRowid = &VEQRecordWriter::Cursor::rowid;
  return m;
}();

// Registered once per connection: registering again would replace the
// module under statements already prepared against it.
struct ModuleRegistration {
  bool registered = false;
};

bool registerModule(VEQFMDatabase* db) {
  ModuleRegistration& registration = db->connectionCache<ModuleRegistration>();
  if (!registration.registered && db->sqliteHandle() != nullptr) {
    registration.registered = sqlite3_create_module_v2(db->sqliteHandle(), health_tables::kRecordStream.data(),
                                                       &kModule, nullptr, nullptr) == SQLITE_OK;
  }
  return registration.registered;
}

}  // namespace

// ---- The writer ----------------------------------------------------------------

VEQRecordWriter::VEQRecordWriter() = default;
VEQRecordWriter::~VEQRecordWriter() = default;

void VEQRecordWriter::take(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                           VEQHealthWrite write) {
  // Slots are reused from row to row, so the look-up's text keeps its
  // buffer and a row of one record allocates nothing here.
  if (writeCount_ == writes_.size()) {
    writes_.push_back(Write{db, existsSql, std::move(record), write, std::nullopt});
  } else {
    Write& w = writes_[writeCount_];
    w.db = db;
    w.existsSql.assign(existsSql);
    w.record = std::move(record);
    w.write = write;
  }
  ++writeCount_;
}

bool VEQRecordWriter::run(VEQFMDatabase* db, const std::function<bool()>& next, const std::function<bool()>& convert,
                          const std::function<void(bool)>& report) {
  db_ = db;
  next_ = &next;
  convert_ = &convert;
  report_ = &report;
  error_ = nullptr;
  ended_ = false;
  const bool streams = registerModule(db);
  bool kept = true;
  convertRow();
  for (bool have = true; have;) {
    if (kind_ == Kind::kStream && streams) {
      kept = streamRows();
      if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
      if (!kept) break;
      have = held_;
      held_ = false;
      continue;
    }
    if (kind_ != Kind::kNoWrite) writeRowByRow();
    report(result_);
    have = pullRow();
  }
  writeCount_ = 0;
  return kept;
}

bool VEQRecordWriter::pullRow() {
  if (!(*next_)()) {
    ended_ = true;
    return false;
  }
  convertRow();
  return true;
}

void VEQRecordWriter::convertRow() {
  writeCount_ = 0;
  collecting_ = true;
  try {
    result_ = (*convert_)();
  } catch (...) {
    collecting_ = false;
    throw;
  }
  collecting_ = false;
  kind_ = Kind::kNoWrite;
  if (writeCount_ == 0) return;
  kind_ = Kind::kDirect;
  // Each look-up text is read once, here, for the classification and the
  // write alike; the slots no longer move, so the keys' texts stay valid.
  for (size_t i = 0; i < writeCount_; ++i) {
    Write& w = writes_[i];
    w.lookup = VEQDBManager::readHealthLookup(w.record.table(), w.existsSql);
  }
  // Records to insert once that the marks know are there already are left
  // as they are (a track's head, written by its first point): only the
  // row's last record may then remain to be written.
  streamAt_ = 0;
  while (streamAt_ + 1 < writeCount_ && writes_[streamAt_].write == VEQHealthWrite::kInsertOnce &&
         writes_[streamAt_].db == db_ &&
         veqRecordKnownPresent(db_, writes_[streamAt_].lookup, writes_[streamAt_].record)) {
    ++streamAt_;
  }
  if (streamAt_ + 1 != writeCount_) return;
  const Write& w = writes_[streamAt_];
  if (w.db != db_) return;
  if (const std::optional<VEQRecordKeyArguments> keys = veqAbsentRecordKeys(w.db, w.lookup, w.record)) {
    keys_ = *keys;
    kind_ = Kind::kStream;
  }
}

void VEQRecordWriter::writeRowByRow() {
  for (size_t i = 0; i < writeCount_; ++i) {
    Write& w = writes_[i];
    veqWriteHealthRecord(w.db, w.existsSql, std::move(w.record), w.write, &w.lookup);
  }
  writeCount_ = 0;
}

// Runs statements while rows stream. Returns false when a failed statement
// took back rows already reported. On return, held_ says whether a
// converted row waits (kind_ says how it is to be written).
bool VEQRecordWriter::streamRows() {
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  while (true) {
    table_ = writes_[streamAt_].record.table();
    inFlight_ = held_ = eof_ = false;
    confirmed_ = 0;
    const bool ok = db_->executeUpdate(sql.streamInsertSqlStr(table_));
    const bool startedRows = confirmed_ > 0 || inFlight_;
    // The statement's own change count: what it kept (0 when SQLite rolled
    // the whole statement back).
    const bool keptAll = ok || db_->changes() == confirmed_;
    veqNoteRecordStreamEnded(db_, ok);
    if (error_) return true;
    if (ok) {
      // SQLite took the rows from a buffer: the last one is written now.
      if (inFlight_) confirmRow();
    } else {
      if (!startedRows) {
        // The statement failed before its first row (it could not even be
        // prepared): that row goes row by row, with its own message.
        kind_ = Kind::kDirect;
        held_ = true;
        return true;
      }
      if (inFlight_) {
        inFlight_ = false;
        veqRowWritten(db_, false, false);  // failed, with the statement's message
        (*report_)(result_);
      }
      if (!keptAll) return false;
    }
    if (!held_ && !ended_) held_ = pullRow();
    if (!held_ || kind_ != Kind::kStream) return true;
    // The held row streams into another table, or SQLite buffered: a new
    // statement takes it first.
  }
}

// Hands the current row's record to the statement.
void VEQRecordWriter::yieldRow() {
  args_ = writes_[streamAt_].record.takeArguments();
  writeCount_ = 0;
  rowidAtYield_ = sqlite3_last_insert_rowid(db_->sqliteHandle());
  inFlight_ = true;
}

// The row handed out is in the table: report it.
void VEQRecordWriter::confirmRow() {
  inFlight_ = false;
  ++confirmed_;
  veqRowWritten(db_, false, true);
  veqNoteWrittenKeys(db_, table_, VEQRecordWrite::kStreamed, args_, keys_);
  (*report_)(result_);
}

// SQLite asks for the row after the one handed out. Nothing may throw from
// here into SQLite: an exception ends the statement and waits in error_.
void VEQRecordWriter::cursorNext() {
  try {
    if (inFlight_) {
      // Not in the table yet: SQLite is buffering the rows. End the
      // statement; the row is reported once the statement is done.
      if (sqlite3_last_insert_rowid(db_->sqliteHandle()) == rowidAtYield_) {
        eof_ = true;
        return;
      }
      confirmRow();
    }
    while (true) {
      if (!pullRow()) {
        eof_ = true;
        return;
      }
      if (kind_ == Kind::kNoWrite) {
        (*report_)(result_);
        continue;
      }
      if (kind_ == Kind::kStream && writes_[streamAt_].record.table() == table_) {
        yieldRow();
        return;
      }
      held_ = true;
      eof_ = true;
      return;
    }
  } catch (...) {
    error_ = std::current_exception();
    eof_ = true;
  }
}

}  // namespace veq
