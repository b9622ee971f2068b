// run_state.cpp — the drivers' run state and the per-day serial numbers.

#include <string>
#include <utility>

#include "migration/pro_db_manager.h"

namespace veq {
namespace {

// Run state of the driver call in progress; both drivers reset it.
std::string gCurrentDateStr;
int32_t gSerialNumber = 0;

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

}  // namespace veq
