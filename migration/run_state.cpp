// run_state.cpp — the drivers' run state and the per-day serial numbers.

#include <string>
#include <utility>

#include "migration/pro_db_manager.h"

// The run state of the driver call in progress is the current session's
// manager's; both drivers reset it.

namespace veq {

const std::string& VEQProDBManager::currentDateStr() { return shareInstance().currentDateStr_; }

void VEQProDBManager::setCurrentDateStr(std::string dayStamp) { shareInstance().currentDateStr_ = std::move(dayStamp); }

int32_t VEQProDBManager::serialNumber() { return shareInstance().serialNumber_; }

void VEQProDBManager::setSerialNumber(int32_t serial) { shareInstance().serialNumber_ = serial; }

int32_t VEQProDBManager::nextSerialNumberForStamp(const std::string& stamp) {
  VEQProDBManager& run = shareInstance();
  if (run.currentDateStr_ != stamp) {
    run.currentDateStr_ = stamp;
    run.serialNumber_ = 1;
  } else {
    ++run.serialNumber_;
  }
  return run.serialNumber_;
}

}  // namespace veq
