// legacy_item.h — the one routine behind the legacy iOS item conversions
// (sport intervals, sleep stretches, heart-rate measurements).
//
// Every legacy item row is placed the same way: its device key and day
// (veqLegacyDayRow: a row without either is skipped), its serial number (its
// own, or the next per-day serial for an item stored without one), and a
// record keyed by device, day and serial that is inserted or updated in
// place. The item's record starts with "mac_addr", "serial_number" and
// "day_stamp", which this routine sets; `fill` sets the item's own columns by
// name, given the row and its day stamp. Reports YES in every case.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "collaborators/fmdb.h"
#include "collaborators/sync_sql_manager.h"
#include "collaborators/value.h"
#include "migration/health_record.h"

namespace veq {

struct VEQLegacyItemTable {
  VEQHealthTable table;
  // The catalogue's exists query of the table: (day stamp, serial, device).
  std::string (*existsSql)(std::string_view dayStamp, int64_t serialNumber, std::string_view macAddr);
};

using VEQLegacyItemFill = std::function<void(VEQHealthRecord& record, const std::string& dayStamp)>;

bool veqMigrateLegacyItem(const VEQDict& dic, VEQFMDatabase* database, const VEQLegacyItemTable& table,
                          const VEQLegacyItemFill& fill);

}  // namespace veq
