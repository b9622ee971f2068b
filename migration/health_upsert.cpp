// health_upsert.cpp — the insert-or-update step every health conversion
// ends with.

#include <array>
#include <optional>
#include <span>

#include "collaborators/db_manager.h"
#include "collaborators/key_marks.h"
#include "migration/health_record.h"
#include "migration/migration_session.h"
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

// Reports the written record's keys (at `keyAt` in `args`) to the key marks.
// A key the layout leaves out is not reported; the marks notice the
// unreported write and learn the table again.
void noteKeys(VEQFMDatabase* db, VEQHealthTable table, VEQRecordWrite write, const VEQArray& args,
              const std::array<size_t, 3>& keyAt, size_t count) {
  std::array<const VEQValue*, 3> keys{};
  if (count > keys.size()) return;
  for (size_t i = 0; i < count; ++i) {
    if (keyAt[i] >= args.size()) return;
    keys[i] = &args[keyAt[i]];
  }
  veqNoteRecordKeys(db, table, std::span(keys).first(count), write);
}

}  // namespace

bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                           VEQHealthWrite write) {
  const VEQHealthTable table = record.table();
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  const std::vector<size_t>& keyPositions = VEQSyncSqlManager::keyPositions(table);
  std::array<size_t, 3> keyAt{};
  for (size_t i = 0; i < keyPositions.size() && i < keyAt.size(); ++i) keyAt[i] = record.argumentIndex(keyPositions[i]);

  bool exists = false, written = false;
  VEQRecordWrite how = VEQRecordWrite::kInsert;
  VEQArray args;
  const bool straightforward = VEQMigrationSession::current().straightforwardPaths();
  const std::optional<VEQDBManager::HealthLookupKeys> keys =
      straightforward ? std::nullopt : VEQDBManager::readHealthLookup(table, existsSql);
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
  if (written && !straightforward) noteKeys(db, table, how, args, keyAt, keyPositions.size());
  return written;
}

}  // namespace veq
