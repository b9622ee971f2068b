// legacy_item.cpp — one legacy iOS item row → one item record.
#include "migration/ios_health/legacy_item.h"

#include "migration/ios_health/legacy_day.h"

namespace veq {

bool veqMigrateLegacyItem(const VEQDict& dic, VEQFMDatabase* database, const VEQLegacyItemTable& table,
                          const VEQLegacyItemFill& fill) {
  const auto row = veqLegacyDayRow(dic);
  if (!row) return true;  // skipped
  const std::string& dayStamp = row->day.dayStamp;
  const int64_t serial = veqLegacyItemSerial(dic, dayStamp);

  VEQHealthRecord record(table.table,
                         {{"mac_addr", row->macAddr()}, {"serial_number", serial}, {"day_stamp", dayStamp}});
  fill(record, dayStamp);
  veqUpsertHealthRecord(database, table.existsSql(dayStamp, serial, row->macAddr()), std::move(record));
  return true;
}

}  // namespace veq
