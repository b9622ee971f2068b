// device.cpp — Android device resolution over one table of per-routine rules.
#include "migration/android_health/device.h"

#include <array>

#include <fmt/format.h>

#include "collaborators/old_db_manager.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {
namespace {

// Whether the empty test looks at the address before or after its ":" are
// removed.
enum class EmptyTest : uint8_t { kAfterRemoval, kBeforeRemoval };

struct Rule {
  VEQAndroidRowKind kind;  // the entry's own position, checked below
  std::string_view table;  // the legacy table the rows come from
  bool rowKeyFirst;        // "smart_device_id" is tried first
  std::string_view idColumn;  // looked up in the registry by its integer value
  EmptyTest emptyTest;
};

using K = VEQAndroidRowKind;
constexpr EmptyTest kAfter = EmptyTest::kAfterRemoval, kBefore = EmptyTest::kBeforeRemoval;

constexpr std::array<Rule, static_cast<size_t>(K::kCount)> kRules = {{
    {K::kHeartRateDay, "HEALTH_HEART_RATE", true, "D_ID", kBefore},
    {K::kHeartRateItem, "HEALTH_HEART_RATE_ITEM", false, "RATE_DATA_ID", kAfter},
    {K::kSleepDay, "HEALTH_SLEEP", true, "D_ID", kAfter},
    {K::kSleepItem, "HEALTH_SLEEP_ITEM", false, "SLEEP_DATA_ID", kAfter},
    {K::kSportDay, "HEALTH_SPORT", true, "D_ID", kAfter},
    {K::kSportItem, "HEALTH_SPORT_ITEM", false, "SPORT_DATA_ID", kAfter},
    {K::kBloodPressureDay, "HEALTH_BLOOD_PRESSED", true, "D_ID", kAfter},
    {K::kBloodPressureItem, "HEALTH_BLOOD_PRESSED_ITEM", false, "BLOOD_PRESSED_DATA_ITEM_ID", kAfter},
    {K::kActivity, "ACTIVITY_DATA", false, "D_ID", kAfter},
    {K::kGpsTrack, "HEALTH_GPS", true, "D_ID", kAfter},
    {K::kGpsPoint, "HEALTH_GPS_ITEM", true, "D_ID", kAfter},
}};

constexpr bool rulesInKindOrder() {
  for (size_t i = 0; i < kRules.size(); ++i)
    if (static_cast<size_t>(kRules[i].kind) != i) return false;
  return true;
}
static_assert(rulesInKindOrder(), "one rule per row kind, in the enum's order");

// The registry record of `id` in the store `oldQueue` stands for, or nullptr.
const VEQDict* registryRecord(VEQFMDatabaseQueue* oldQueue, const VEQValue& id) {
  if (oldQueue == nullptr) return nullptr;
  const VEQOldDBManager& stores = VEQOldDBManager::shareInstance();
  if (oldQueue == stores.androidQueue()) return VEQProDBManager::queryAndroidDidDeviceInfoWithKey(id);
  if (oldQueue == stores.androidCloudQueue()) return VEQProDBManager::queryAndroidCloudDidDeviceInfoWithKey(id);
  return nullptr;
}

std::string withoutSeparators(std::string address) {
  std::erase(address, ':');
  return address;
}

}  // namespace

std::optional<VEQAndroidDevice> veqAndroidDevice(VEQAndroidRowKind kind, const VEQDict& row,
                                                 VEQFMDatabaseQueue* oldQueue) {
  const Rule& rule = kRules[static_cast<size_t>(kind)];
  if (rule.rowKeyFirst) {
    std::string own = row.stringForKey("smart_device_id");
    if (!own.empty()) return VEQAndroidDevice{std::move(own), true};
  }
  const VEQDict* record = registryRecord(oldQueue, row[rule.idColumn]);
  const std::string address = record ? record->stringForKey("MAC_ADDRESS") : std::string();
  std::string macAddr = withoutSeparators(address);
  if ((rule.emptyTest == EmptyTest::kBeforeRemoval ? address : macAddr).empty()) {
    veqSkipRow(VEQSkipReason::kUnknownDevice);
    return std::nullopt;
  }
  return VEQAndroidDevice{std::move(macAddr), false};
}

int64_t veqAndroidItemCount(VEQAndroidRowKind itemKind, const VEQDict& row, const VEQAndroidDevice& device,
                            VEQFMDatabaseQueue* oldQueue) {
  const Rule& items = kRules[static_cast<size_t>(itemKind)];
  std::string sql = fmt::format("SELECT * FROM {} WHERE DATE = {}", items.table, row.integerForKey("DATE"));
  if (!device.fromRow) sql += fmt::format(" AND {} = {}", items.idColumn, row.integerForKey("D_ID"));
  return VEQOldDBManager::getOneTableCountWithDbQueue(oldQueue, std::string(items.table), sql);
}

}  // namespace veq
