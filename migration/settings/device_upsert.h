// device_upsert.h — the insert-or-update of one per-device settings record.
//
// Every settings and capability table of the new database holds at most one
// record per device, keyed on the device's MAC address (column "mac_addr").
// A conversion reads the device key from the legacy row, fills a model, and
// hands both to veqUpsertDeviceRecord, which:
//
//   1. looks the record up with the given existence query, which selects
//      "pk" of the device's record;
//   2. when a record is found, runs
//        UPDATE <table> SET <col = ?,...> WHERE pk = ?
//      binding the model's values and then the record's pk (an integer);
//   3. otherwise runs
//        INSERT INTO <table>(<cols>) VALUES (<?,...>)
//      binding the model's values;
//   4. states the row outcome (row_outcome.h: inserted, updated, or write
//      failed with the database's message) and returns the statement's
//      result.
//
// Rules:
//   * The table is the model's table; the SET list, column list,
//     placeholders and values come from VEQDBManager.
//   * The existence query carries the device key pasted between single
//     quotes as it stands, not escaped and not bound. A key holding a quote
//     breaks the query, or turns it into another one; the new-database
//     helper runs only true record look-ups (db_manager.h), so the lookup
//     then answers "no record" and the row is inserted under its own key.
//     This is the intended form of every settings lookup.
//   * A lookup that answers "no record" for whatever reason inserts.
//   * Rows without a device key are the caller's to skip (they count as
//     done, with veqSkipRow(VEQSkipReason::kNoDeviceKey)); this routine
//     never sees them.
#pragma once

#include <string>
#include <string_view>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/value.h"

namespace veq {

// How the existing record is found.
enum class VEQRecordLookup {
  // VEQDBManager::querySyncExistDataWithSqlDb: update when it reports a row,
  // with the pk it hands back.
  ExistsQuery,
  // The query is run directly and the first row's "pk" is read as text and
  // converted to an integer; only a pk of 1 or more is updated, anything
  // else (no row, 0, negative) is inserted anew. Used by the "t_main1"
  // capability table.
  PositivePk,
};

// The device key of a legacy settings row: the text of `column`
// ("smart_device_id" for nearly every table), "" when absent.
std::string veqDeviceKeyOfRow(const VEQDict& row, std::string_view column = "smart_device_id");

// "SELECT pk FROM <tableName> WHERE mac_addr = '<deviceKey>'".
std::string veqDeviceExistsSql(std::string_view tableName, std::string_view deviceKey);

// Updates the device's record in the model's table, or inserts it; returns
// whether the UPDATE or INSERT succeeded.
bool veqUpsertDeviceRecord(VEQFMDatabase* db, const std::string& existsSql, const VEQModel& model,
                           VEQRecordLookup lookup = VEQRecordLookup::ExistsQuery);

}  // namespace veq
