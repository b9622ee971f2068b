#include "migration/settings/device_upsert.h"

#include <cstdint>
#include <memory>

#include <fmt/format.h>

#include "collaborators/db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

namespace {

// The record's pk as the "t_main1" lookup reads it: the first row's "pk"
// column as text, converted the way the platform converts texts. 0 when the
// query yields no row or fails.
int64_t firstPkAsText(VEQFMDatabase* db, const std::string& existsSql) {
  std::unique_ptr<VEQFMResultSet> rs = VEQDBManager::executeRecordLookup(db, existsSql);
  if (rs == nullptr || !rs->next()) return 0;
  return VEQValue(rs->stringForColumn("pk")).integerValue();
}

}  // namespace

std::string veqDeviceKeyOfRow(const VEQDict& row, std::string_view column) {
  return row.stringForKey(column);
}

std::string veqDeviceExistsSql(std::string_view tableName, std::string_view deviceKey) {
  return fmt::format("SELECT pk FROM {} WHERE mac_addr = '{}'", tableName, deviceKey);
}

bool veqUpsertDeviceRecord(VEQFMDatabase* db, const std::string& existsSql, const VEQModel& model,
                           VEQRecordLookup lookup) {
  int64_t pk = 0;
  bool exists = false;
  if (lookup == VEQRecordLookup::ExistsQuery) {
    exists = VEQDBManager::querySyncExistDataWithSqlDb(db, existsSql, &pk);
  } else {
    pk = firstPkAsText(db, existsSql);
    exists = pk >= 1;
  }

  std::string keyStr;
  VEQArray args;
  std::string sql;
  if (exists) {
    VEQDBManager::getUpdateStrWithModel(model, &keyStr, &args);
    sql = fmt::format("UPDATE {} SET {} WHERE {} = ?", model.tableName(), keyStr, "pk");
    args.emplace_back(pk);
  } else {
    std::string valueStr;
    VEQDBManager::getInsertStrWithModel(model, &keyStr, &valueStr, &args);
    sql = fmt::format("INSERT INTO {}({}) VALUES ({})", model.tableName(), keyStr, valueStr);
  }
  const bool written = db->executeUpdate(sql, args);
  veqRowWritten(db, exists, written);
  return written;
}

}  // namespace veq
