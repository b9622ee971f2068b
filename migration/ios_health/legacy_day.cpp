// legacy_day.cpp — day, moment, count and serial of legacy iOS health rows.
#include "migration/ios_health/legacy_day.h"

#include <string>

#include "collaborators/old_db_manager.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {

namespace {

// The last day computed on this thread: item rows come many to a day.
struct LastDay {
  int64_t legacyDate = 0;
  uint64_t zoneGeneration = 0;
  int64_t currentYear = 0;
  VEQLegacyDay day;
  bool valid = false;
};

thread_local LastDay tLastDay;

}  // namespace

std::optional<VEQLegacyDay> veqLegacyDay(int64_t legacyDate) {
  if (legacyDate < 1) return std::nullopt;
  LastDay& last = tLastDay;
  const int64_t currentYear = VEQSDKUtility::currentYear();
  const uint64_t zoneGeneration = VEQSDKUtility::timeZoneGeneration();
  if (last.valid && last.legacyDate == legacyDate && last.currentYear == currentYear &&
      last.zoneGeneration == zoneGeneration)
    return last.day;
  last.valid = false;
  VEQLegacyDay& day = last.day;
  // The normalised stamp is discarded on purpose: only its components count.
  VEQProDBManager::newTimeStampWithOldTimeStr(VEQSDKUtility::timeStampFromtimeStr(std::to_string(legacyDate)),
                                              &day.components);
  day.dayStamp =
      VEQSDKUtility::get1970timeTempWithYear(day.components.year, day.components.month, day.components.day);
  last.legacyDate = legacyDate;
  last.currentYear = currentYear;
  last.zoneGeneration = zoneGeneration;
  last.valid = true;
  return day;
}

std::optional<VEQLegacyDayRow> veqLegacyDayRow(const VEQDict& dic) {
  VEQLegacyDayRow row;
  const VEQValue& key = dic["smart_device_id"];
  if (key.isText()) {
    row.rowMacAddr = key.text();
  } else {
    row.ownedMacAddr = key.description();
  }
  if (row.macAddr().empty()) {
    veqSkipRow(VEQSkipReason::kNoDeviceKey);
    return std::nullopt;
  }
  row.date = dic.integerForKey("date");
  std::optional<VEQLegacyDay> day = veqLegacyDay(row.date);
  if (!day) {
    veqSkipRow(VEQSkipReason::kNoDate);
    return std::nullopt;
  }
  row.day = std::move(*day);
  return row;
}

VEQLegacyMoment veqLegacyMoment(const std::string& timeStamp) {
  VEQLegacyMoment moment;
  moment.stamp = VEQProDBManager::newTimeStampWithOldTimeStr(timeStamp, &moment.components);
  const VEQDateComponents& c = moment.components;
  moment.dayStamp = VEQSDKUtility::get1970timeTempWithYear(c.year, c.month, c.day);
  return moment;
}

void veqSetMomentColumns(VEQHealthRecord& record, const VEQDateComponents& c) {
  record.set("second", c.second).set("minute", c.minute).set("hour", c.hour);
  record.set("day", c.day).set("month", c.month).set("year", c.year);
}

int64_t veqLegacyRowCount(VEQFMDatabaseQueue* oldQueue, std::string_view table, std::string_view condition,
                          std::string_view macAddr) {
  // Asked once per day row and per GPS point: appended, not formatted.
  std::string sql;
  sql.reserve(64 + table.size() + condition.size() + macAddr.size());
  sql.append("SELECT * FROM ").append(table).append(" WHERE ").append(condition);
  sql.append(" AND smart_device_id = '").append(macAddr).append("'");
  return VEQOldDBManager::getOneTableCountWithDbQueue(oldQueue, std::string(table), sql);
}

int64_t veqLegacyItemSerial(const VEQDict& dic, const std::string& dayStamp) {
  // Numbered items keep their number and leave the run's counter alone.
  const int64_t serial = dic.integerForKey("serial_number");
  return serial != 0 ? serial : VEQProDBManager::nextSerialNumberForStamp(dayStamp);
}

}  // namespace veq
