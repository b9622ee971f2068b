// sync_sql_accessors.cpp — the catalogue's statements under the names the
// kit calls them by: one exists-query builder per table and an INSERT and
// UPDATE accessor per table, each a table chosen from the descriptions.
#include "collaborators/sync_sql_manager.h"

#include <optional>

#include "collaborators/health_sql.h"

namespace veq {
namespace {

std::string exists(VEQHealthTable id, std::string_view stamp, std::optional<int64_t> serial,
                   std::string_view macAddr) {
  return health_tables::existsSql(health_tables::table(id), stamp, serial, macAddr);
}

}  // namespace

std::string VEQSyncSqlManager::querySportExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kSport, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::querySleepExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kSleep, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryHrExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kHeartRate, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryBpExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kBloodPressure, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryGpsExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kGps, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::queryActivityExistSqlStr(std::string_view timeStr, std::string_view macAddr) {
  return exists(VEQHealthTable::kActivity, timeStr, std::nullopt, macAddr);
}
std::string VEQSyncSqlManager::querySportItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                         std::string_view macAddr) {
  return exists(VEQHealthTable::kSportItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::querySleepItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                         std::string_view macAddr) {
  return exists(VEQHealthTable::kSleepItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryHrItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                      std::string_view macAddr) {
  return exists(VEQHealthTable::kHeartRateItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryBpItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                      std::string_view macAddr) {
  return exists(VEQHealthTable::kBloodPressureItem, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryGpsItemExistSqlStr(std::string_view timeStr, int64_t serialNumber,
                                                       std::string_view macAddr) {
  return exists(VEQHealthTable::kGpsPoint, timeStr, serialNumber, macAddr);
}
std::string VEQSyncSqlManager::queryWeightExistSqlStr(std::string_view dayStr) {
  return exists(VEQHealthTable::kWeight, dayStr, std::nullopt, {});
}

const std::string& VEQSyncSqlManager::sportInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kSport); }
const std::string& VEQSyncSqlManager::sportUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kSport); }
const std::string& VEQSyncSqlManager::sportItemInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kSportItem); }
const std::string& VEQSyncSqlManager::sportItemUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kSportItem); }
const std::string& VEQSyncSqlManager::sleepInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kSleep); }
const std::string& VEQSyncSqlManager::sleepUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kSleep); }
const std::string& VEQSyncSqlManager::sleepItemInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kSleepItem); }
const std::string& VEQSyncSqlManager::sleepItemUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kSleepItem); }
const std::string& VEQSyncSqlManager::hrInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kHeartRate); }
const std::string& VEQSyncSqlManager::hrUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kHeartRate); }
const std::string& VEQSyncSqlManager::hrItemInsertSqlStr() const {
  return insertSqlStr(VEQHealthTable::kHeartRateItem);
}
const std::string& VEQSyncSqlManager::hrItemUpdateSqlStr() const {
  return updateSqlStr(VEQHealthTable::kHeartRateItem);
}
const std::string& VEQSyncSqlManager::bpInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kBloodPressure); }
const std::string& VEQSyncSqlManager::bpUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kBloodPressure); }
const std::string& VEQSyncSqlManager::bpItemInsertSqlStr() const {
  return insertSqlStr(VEQHealthTable::kBloodPressureItem);
}
const std::string& VEQSyncSqlManager::bpItemUpdateSqlStr() const {
  return updateSqlStr(VEQHealthTable::kBloodPressureItem);
}
const std::string& VEQSyncSqlManager::gpsInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kGps); }
const std::string& VEQSyncSqlManager::gpsUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kGps); }
const std::string& VEQSyncSqlManager::gpsItemInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kGpsPoint); }
const std::string& VEQSyncSqlManager::gpsItemUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kGpsPoint); }
const std::string& VEQSyncSqlManager::weightInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kWeight); }
const std::string& VEQSyncSqlManager::weightUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kWeight); }
const std::string& VEQSyncSqlManager::activityInsertSqlStr() const { return insertSqlStr(VEQHealthTable::kActivity); }
const std::string& VEQSyncSqlManager::activityUpdateSqlStr() const { return updateSqlStr(VEQHealthTable::kActivity); }

}  // namespace veq
