// key_marks.h — health look-ups answered without an index probe: keys above
// everything a table holds, and the record the last probe found.
//
// A migration writes each device's records mostly in key order (stamp, then
// serial number), so most look-ups of a first run ask for a key greater than
// any the table holds for that device: no record can match, and the index
// probe only confirms it. Within one transaction, for each health table and
// device, this keeps the highest key the table holds (a "mark"), learnt with
// one indexed query the first time the device is looked up and raised by
// every record the migration writes. A look-up of a key above the mark is
// answered "no record" from the mark.
//
// It also keeps, per table, the record the last probe found: rows that look
// up the same keys one after another (the points of one GPS track asking
// for its head) get its primary key without probing again. That answer is
// dropped by any update by primary key of the table (which may move keys)
// and by any write of a record with those keys. Any other look-up runs its
// probe.
//
// What the marks rely on, and what happens otherwise:
//   * A device is the exact text of "mac_addr" (binary comparison, as the
//     column compares); stamps and serial numbers are integers. A key whose
//     device is not a text, or whose stamp or serial is not an integer or a
//     text SQLite reads as exactly that integer (a canonical decimal), is
//     never answered from a mark.
//   * When the highest stored key of a device holds anything but integers
//     (a real, a text, NULL) the device is probed for the rest of the
//     transaction.
//   * Every write to a health table must be reported with
//     veqNoteRecordKeys right after it. A write that is not — or one that
//     changed more than its own row (several rows, a trigger) — is noticed
//     through the connection's change counts, and all marks are forgotten
//     and learnt again.
//   * The marks live in the connection's transaction cache (fmdb.h), so a
//     COMMIT, a ROLLBACK (also to a savepoint, which can bring back keys an
//     update had changed) or any statement outside a transaction forgets
//     them: another connection may write between transactions. Outside a
//     transaction nothing is answered from a mark.
//   * At most 256 devices a table are remembered; further ones are probed.
#pragma once

#include <span>

#include "collaborators/fmdb.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/value.h"

namespace veq {

enum class VEQKnownRecord {
  kUnknown,  // only the probe can tell
  kAbsent,   // above the device's mark: no record has these keys
  kFound,    // the record the table's last probe found, still there
};

// What the marks know of the record of `table` whose key columns equal
// `keys` (the look-up's parameters in VEQSyncSqlManager::keyColumns order,
// as they are bound). kFound sets *pk.
VEQKnownRecord veqKnownRecord(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQSqlParam> keys,
                              int64_t* pk = nullptr);

// Reports that the probe of `table` for `keys` found the record `pk`.
void veqNoteRecordFound(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQSqlParam> keys, int64_t pk);

enum class VEQRecordWrite {
  kInsert,
  kUpdateKeepingKeys,  // an update that leaves the key columns as they were
  kUpdate,             // an update by primary key, which may change keys
  kStreamed,           // an insert by the record stream's running statement
};

// Reports that `db` has just written one record of `table` whose key
// columns hold `keys` (keyColumns order).
void veqNoteRecordKeys(VEQFMDatabase* db, VEQHealthTable table, std::span<const VEQValue* const> keys,
                       VEQRecordWrite write);

// The record stream (migration/record_stream.h) inserts rows with one
// statement that is still running when each row is reported, and SQLite
// adds a statement's rows to the connection's change counts only when it
// ends. A kStreamed note therefore counts its row as in flight: the marks
// expect it among the changes once the statement ends. Call this when the
// statement has ended: `completed` when it ran to its end, so every noted
// row is in the table; otherwise (it failed, and may have taken rows back
// with it) the marks are forgotten and learnt again.
void veqNoteRecordStreamEnded(VEQFMDatabase* db, bool completed);

}  // namespace veq
