// health_record.cpp — the rules every health conversion shares: run state,
// per-day serial numbers, base values, time-stamp normalisation and the
// insert-or-update step.

#include "migration/health_record.h"

#include <cstdio>
#include <iterator>
#include <utility>

#include "collaborators/db_manager.h"
#include "collaborators/models.h"
#include "collaborators/sdk_utility.h"
#include "migration/pro_db_manager.h"

namespace veq {
namespace {

// Run state of the driver call in progress; both drivers reset it.
std::string gCurrentDateStr;
int32_t gSerialNumber = 0;

constexpr size_t kBaseValueCount = 6;

// Appends the six values every health statement starts with.
void appendBaseData(VEQArray* args) {
  args->emplace_back(1);
  for (size_t i = 1; i < kBaseValueCount; ++i) args->emplace_back(std::string());
}

}  // namespace

const std::string& VEQProDBManager::currentDateStr() { return gCurrentDateStr; }

void VEQProDBManager::setCurrentDateStr(std::string dayStamp) { gCurrentDateStr = std::move(dayStamp); }

int32_t VEQProDBManager::serialNumber() { return gSerialNumber; }

void VEQProDBManager::setSerialNumber(int32_t serial) { gSerialNumber = serial; }

int32_t VEQProDBManager::nextSerialNumberForStamp(const std::string& stamp) {
  if (gCurrentDateStr != stamp) {
    gCurrentDateStr = stamp;
    gSerialNumber = 1;
  } else {
    ++gSerialNumber;
  }
  return gSerialNumber;
}

VEQArray VEQProDBManager::getBaseData() {
  VEQArray base;
  base.reserve(kBaseValueCount);
  appendBaseData(&base);
  return base;
}

std::string VEQProDBManager::newTimeStampWithOldTimeStr(const std::string& oldTimeStr,
                                                        VEQDateComponents* dateComponents) {
  // Thirteen or more characters hold milliseconds.
  const std::string seconds =
      oldTimeStr.size() >= 13 ? std::to_string(VEQValue(oldTimeStr).integerValue() / 1000) : oldTimeStr;

  const VEQDateComponents c = VEQSDKUtility::dateComponentsWithDateStr(seconds);
  int64_t year = c.year;
  if (year >= 3001) year -= 1900;
  // A year far ahead of ours is counted in the Buddhist era.
  const int64_t currentYear = VEQSetTimeInfoBluetoothModel().year();
  if (year - currentYear > 500) year -= 543;

  char text[128];
  std::snprintf(text, sizeof text, "%04ld%02ld%02ld%02ld%02ld%02ld", static_cast<long>(year),
                static_cast<long>(c.month), static_cast<long>(c.day), static_cast<long>(c.hour),
                static_cast<long>(c.minute), static_cast<long>(c.second));
  std::string result = VEQSDKUtility::timeStampFromtimeStr(text);
  if (dateComponents != nullptr) *dateComponents = VEQSDKUtility::dateComponentsWithDateStr(result);
  return result;
}

bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQArray recordValues,
                           const std::string& updateSql, const std::string& insertSql) {
  int64_t pk = 0;
  const bool exists = VEQDBManager::querySyncExistDataWithSqlDb(db, existsSql, &pk);

  VEQArray args;
  args.reserve(kBaseValueCount + recordValues.size() + (exists ? 1 : 0));
  appendBaseData(&args);
  args.insert(args.end(), std::make_move_iterator(recordValues.begin()), std::make_move_iterator(recordValues.end()));
  if (exists) args.emplace_back(pk);
  return db->executeUpdate(exists ? updateSql : insertSql, args);
}

}  // namespace veq
