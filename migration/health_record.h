// health_record.h — one health record, and the insert-or-update step every
// health conversion ends with.
//
// VEQHealthRecord is a record of one new health table, filled by column
// name. The table's column list (collaborators/sync_sql_manager.h) fixes the
// binding order once, so every writer of a table — the legacy iOS one and
// the Android one — names what it puts where, and no value can land one
// position off:
//
//   VEQHealthRecord item(VEQHealthTable::kSportItem, {
//       {"mac_addr", macAddr}, {"serial_number", serial}, {"day_stamp", dayStamp},
//       {"distance", ...}, {"calories", ...}, {"active_time", ...},
//       {"steps", ...}, {"sport_mode", ...}});
//
// Rules (each a std::logic_error naming the table and column, so a wrong
// description fails its first test, never silently on a phone):
//   * a column the table does not have, or one given twice;
//   * a column left unset when the record is written.
// A table with a short layout (the GPS tables, written by Android without
// the day stamp) is filled in that layout with VEQRecordLayout::kShort: the
// column it omits must then not be given.
//
// The values start with the six base values (1 and five ""), then the
// record's columns in table order; the primary key is appended for an
// update. A column set in table order is found without a search: its name
// is checked against the one expected next (the same literal, usually at
// the same address), and only a column set out of order is looked for.
//
// veqUpsertHealthRecord writes one record:
//   1. runs `existsSql` (a query selecting "pk" of at most one record)
//      through VEQDBManager::queryHealthRecordExistsDb, which answers the
//      catalogue's texts with the table's constant prepared look-up (or the
//      key marks, collaborators/key_marks.h) and anything else as
//      querySyncExistDataWithSqlDb does;
//   2. executes the table's UPDATE with the primary key appended when the
//      record exists, its INSERT otherwise — or, with
//      VEQHealthWrite::kInsertOnce, leaves an existing record as it is;
//   3. states the row outcome (row_outcome.h): inserted, updated, kept or
//      write failed with the database's message;
//   4. reports the written record's keys to the key marks, so that the
//      look-ups of later rows above every written key need no index probe.
// When the look-up is the table's constant one and its keys are exactly the
// record's own key values (same kind, same value) — every catalogue text of
// an ordinary row — steps 1 and 2 of an upsert are one statement: the
// table's update by keys (VEQSyncSqlManager::updateByKeysSqlStr), which
// finds the record itself and leaves its keys and their index alone; the
// INSERT follows when it changed nothing, and keys above the marks go
// straight to the INSERT. The records written are the same; a look-up that
// fails there is a failed write, not a missing record.
// It returns the statement's result (true when kept); health conversions
// ignore it and report YES.
//
// The run state, the serial-number rule, the base values and the time-stamp
// normalisation are members of VEQProDBManager (pro_db_manager.h); they live
// in run_state.cpp, health_record.cpp and stamp_normalisation.cpp. The
// upsert lives in health_upsert.cpp, the year and sleep arithmetic in
// health_arithmetic.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "collaborators/db_manager.h"
#include "collaborators/fmdb.h"
#include "collaborators/key_marks.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/value.h"

namespace veq {

enum class VEQRecordLayout { kFull, kShort };

class VEQHealthRecord {
 public:
  // One column and its value. The value is moved into the record (the
  // list's elements are const, the value member is not), so a text given
  // in the list is not copied a second time.
  struct Field {
    std::string_view column;
    mutable VEQValue value;
  };

  // The base values that precede the record's columns in the arguments.
  static constexpr size_t kBaseValueCount = 6;

  explicit VEQHealthRecord(VEQHealthTable table, VEQRecordLayout layout = VEQRecordLayout::kFull);
  VEQHealthRecord(VEQHealthTable table, std::initializer_list<Field> fields,
                  VEQRecordLayout layout = VEQRecordLayout::kFull);

  // Sets one column; throws std::logic_error as the header says. The
  // column expected next is placed here; any other is searched for.
  VEQHealthRecord& set(std::string_view column, VEQValue value) {
    if (next_ < columns_->size()) {
      const std::string_view expected = (*columns_)[next_];
      if (expected.size() == column.size() && (expected.data() == column.data() || expected == column) &&
          !(setMask_ & (uint64_t{1} << next_))) {
        place(next_, std::move(value));
        return *this;
      }
    }
    return setSearched(column, std::move(value));
  }

  VEQHealthTable table() const { return table_; }
  VEQRecordLayout layout() const { return layout_; }
  // The value set for `column` (null when unset); throws for an unknown one.
  const VEQValue& operator[](std::string_view column) const;

  // The argument list: base values, then the record's values in table order.
  // Throws std::logic_error naming the first column left unset.
  VEQArray takeArguments();
  // Where the value of column `column` (an index into the table's column
  // list) will be in takeArguments()'s list; npos for the column the
  // layout leaves out.
  size_t argumentIndex(size_t column) const;
  // The value set for column `column` (an index into the column list).
  const VEQValue& value(size_t column) const;

 private:
  size_t positionOf(std::string_view column) const;
  VEQHealthRecord& setSearched(std::string_view column, VEQValue value);
  // Stores the value of column `i` (not the omitted one, not set yet).
  void place(size_t i, VEQValue&& value) {
    setMask_ |= uint64_t{1} << i;
    values_[kBaseValueCount + i] = std::move(value);
    next_ = i + 1 == omitted_ ? i + 2 : i + 1;
  }

  VEQHealthTable table_;
  VEQRecordLayout layout_;
  const std::vector<std::string_view>* columns_;  // the table's column list
  size_t omitted_;        // column index the layout leaves out, or npos
  size_t next_ = 0;       // column index expected next (in-order fast path)
  uint64_t setMask_ = 0;  // bit i: column i set
  VEQArray values_;
};

enum class VEQHealthWrite {
  kUpsert,      // update an existing record in place, insert a new one
  kInsertOnce,  // insert a new record, leave an existing one as it is
};

bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                           VEQHealthWrite write = VEQHealthWrite::kUpsert);

// ---- Below the upsert: the record writer's pieces (record_stream.h) --------
// While the session's record writer collects a row's records, the upsert
// hands the record to it and returns true; the writer then writes it
// through the stream or with veqWriteHealthRecord.

// A record's look-up text as read once (VEQDBManager::readHealthLookup):
// its keys when the text is the table's constant look-up, else empty. The
// keys' texts point into the look-up text, which must outlive them.
using VEQReadLookup = std::optional<VEQDBManager::HealthLookupKeys>;

// The row-by-row write: steps 1 to 4 above. `read` is `existsSql` as the
// writer already read it, or nullptr to read it here.
bool veqWriteHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                          VEQHealthWrite write, const VEQReadLookup* read = nullptr);

// Where a record's key values are in its argument list (argumentIndex of
// each key column, keyColumns order).
struct VEQRecordKeyArguments {
  std::array<size_t, 3> at{};
  size_t count = 0;
};
// The record's key arguments when writing it is exactly one INSERT of its
// arguments: its look-up (`lookup`, read from its text) is the table's
// constant look-up for the record's own keys, and the key marks know no
// record has them. Empty otherwise.
std::optional<VEQRecordKeyArguments> veqAbsentRecordKeys(VEQFMDatabase* db, const VEQReadLookup& lookup,
                                                         const VEQHealthRecord& record);
// True when the key marks know a record with the looked-up keys is there
// (the record the table's last probe found): inserting it once changes
// nothing.
bool veqRecordKnownPresent(VEQFMDatabase* db, const VEQReadLookup& lookup, const VEQHealthRecord& record);
// Reports a written record's keys (found in `args` at `keys`) to the marks.
void veqNoteWrittenKeys(VEQFMDatabase* db, VEQHealthTable table, VEQRecordWrite write, const VEQArray& args,
                        const VEQRecordKeyArguments& keys);

// A year more than 500 years ahead of the current year was counted in the
// Buddhist era (phones set to that calendar stored it so): it loses 543.
// Exactly 500 ahead, or less, stays. Wrapping arithmetic, as below.
int64_t veqBuddhistEraCorrected(int64_t year, int64_t currentYear = VEQSDKUtility::currentYear());

// When a sleep of `totalMinutes` that ended at `endHour`:`endMinute` of the
// day starting at `dayStamp` began, in seconds since 1970: on that day when
// the end is later in the day than the sleep is long, else on the evening
// before. Legacy values are not trusted: the arithmetic wraps as the
// platform's 64-bit integers do instead of overflowing.
int64_t veqSleepStartStamp(int64_t dayStamp, int64_t endHour, int64_t endMinute, int64_t totalMinutes);

}  // namespace veq
