// health_upsert.cpp — the insert-or-update step every health conversion
// ends with.

#include <array>
#include <optional>
#include <span>

#include "collaborators/db_manager.h"
#include "collaborators/key_marks.h"
#include "migration/health_record.h"
#include "migration/migration_session.h"
#include "migration/record_stream.h"
#include "migration/row_outcome.h"

namespace veq {

namespace {

// True when the record's key columns hold exactly the values its look-up
// binds (same kind, same value): the record with those keys is then the one
// to update, and its keys need no rewriting.
bool recordHasKeys(const VEQHealthRecord& record, const VEQDBManager::HealthLookupKeys& keys) {
  const std::vector<size_t>& positions = VEQSyncSqlManager::keyPositions(record.table());
  if (positions.size() != keys.count) return false;
  for (size_t i = 0; i < keys.count; ++i) {
    const VEQValue& value = record.value(positions[i]);
    const VEQSqlParam& key = keys.values[i];
    const bool same = key.isText ? value.isText() && value.text() == key.chars
                                 : value.kind() == VEQValue::Kind::Integer && value.integerValue() == key.number;
    if (!same) return false;
  }
  return true;
}

// Where the record's key values will be in its argument list.
VEQRecordKeyArguments keyArguments(const VEQHealthRecord& record) {
  const std::vector<size_t>& keyPositions = VEQSyncSqlManager::keyPositions(record.table());
  VEQRecordKeyArguments keys;
  keys.count = keyPositions.size();
  for (size_t i = 0; i < keys.count && i < keys.at.size(); ++i) keys.at[i] = record.argumentIndex(keyPositions[i]);
  return keys;
}

}  // namespace

void veqNoteWrittenKeys(VEQFMDatabase* db, VEQHealthTable table, VEQRecordWrite write, const VEQArray& args,
                        const VEQRecordKeyArguments& keyAt) {
  // A key the layout leaves out is not reported; the marks notice the
  // unreported write and learn the table again.
  std::array<const VEQValue*, 3> keys{};
  if (keyAt.count > keys.size()) return;
  for (size_t i = 0; i < keyAt.count; ++i) {
    if (keyAt.at[i] >= args.size()) return;
    keys[i] = &args[keyAt.at[i]];
  }
  veqNoteRecordKeys(db, table, std::span(keys).first(keyAt.count), write);
}

std::optional<VEQRecordKeyArguments> veqAbsentRecordKeys(VEQFMDatabase* db, const VEQReadLookup& keys,
                                                         const VEQHealthRecord& record) {
  if (db == nullptr) return std::nullopt;
  if (!keys || !recordHasKeys(record, *keys)) return std::nullopt;
  const VEQRecordKeyArguments at = keyArguments(record);
  for (size_t i = 0; i < at.count; ++i) {
    if (at.at[i] == static_cast<size_t>(-1)) return std::nullopt;  // a key the layout leaves out
  }
  if (veqKnownRecord(db, record.table(), keys->span()) != VEQKnownRecord::kAbsent) return std::nullopt;
  return at;
}

bool veqRecordKnownPresent(VEQFMDatabase* db, const VEQReadLookup& keys, const VEQHealthRecord& record) {
  if (db == nullptr) return false;
  return keys && veqKnownRecord(db, record.table(), keys->span()) == VEQKnownRecord::kFound;
}

bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                           VEQHealthWrite write) {
  VEQRecordWriter& writer = VEQMigrationSession::current().recordWriter();
  if (writer.collecting()) {
    writer.take(db, existsSql, std::move(record), write);
    return true;
  }
  return veqWriteHealthRecord(db, existsSql, std::move(record), write);
}

bool veqWriteHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                          VEQHealthWrite write, const VEQReadLookup* read) {
  const VEQHealthTable table = record.table();
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  const VEQRecordKeyArguments keyAt = keyArguments(record);

  bool exists = false, written = false;
  VEQRecordWrite how = VEQRecordWrite::kInsert;
  VEQArray args;
  const bool straightforward = VEQMigrationSession::current().straightforwardPaths();
  const VEQReadLookup keys = straightforward ? std::nullopt
                             : read         ? *read
                                            : VEQDBManager::readHealthLookup(table, existsSql);
  if (keys && db != nullptr && write == VEQHealthWrite::kUpsert && !sql.updateByKeysSqlStr(table).empty() &&
      recordHasKeys(record, *keys)) {
    // Look-up and update in one statement; an insert when it found nothing.
    args = record.takeArguments();
    written = true;
    if (veqKnownRecord(db, table, keys->span()) != VEQKnownRecord::kAbsent) {
      written = db->executeUpdate(sql.updateByKeysSqlStr(table), args);
      exists = written && db->changes() > 0;
      how = VEQRecordWrite::kUpdateKeepingKeys;
    }
    if (written && !exists) {
      written = db->executeUpdate(sql.insertSqlStr(table), args);
      how = VEQRecordWrite::kInsert;
    }
  } else {
    int64_t pk = 0;
    // The text is read once: its keys, when it has the constant look-up's
    // shape, go straight to that look-up.
    exists = keys && db != nullptr ? VEQDBManager::queryHealthRecordByKeys(db, table, *keys, &pk)
                                   : VEQDBManager::querySyncExistDataWithSqlDb(db, existsSql, &pk);
    if (exists && write == VEQHealthWrite::kInsertOnce) {
      veqKeepRow();
      return true;
    }
    args = record.takeArguments();
    if (exists) args.emplace_back(pk);
    written = db->executeUpdate(exists ? sql.updateSqlStr(table) : sql.insertSqlStr(table), args);
    how = exists ? VEQRecordWrite::kUpdate : VEQRecordWrite::kInsert;
  }
  veqRowWritten(db, exists, written);
  if (written && !straightforward) veqNoteWrittenKeys(db, table, how, args, keyAt);
  return written;
}

}  // namespace veq
