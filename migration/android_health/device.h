// device.h — which device an Android health row belongs to, and how many
// legacy items a day (or track) row has.
//
// Records of the new database are keyed by the device's MAC address without
// ":" separators. Android rows carry a numeric device id instead ("D_ID" in
// day rows, the parent's id such as "RATE_DATA_ID" in item rows), which the
// registry of the store the row was read from maps to a record holding
// "MAC_ADDRESS" (with separators):
//
//   1. Day rows, GPS tracks and GPS points first read "smart_device_id": a
//      non-empty value is the device key exactly as it stands (separators
//      and all), and no registry is asked.
//   2. Otherwise the store is told by the handle the row was read through:
//      VEQOldDBManager's androidQueue selects the Android registry, else its
//      androidCloudQueue the cloud registry; any other handle (or none)
//      selects no registry at all. The plain Android handle is tested first.
//   3. The row's id is looked up there by its integer value; the record's
//      "MAC_ADDRESS" with every ":" removed is the device key.
//   4. An empty key means the device is unknown: the row is skipped
//      (reason unknown_device) and nothing else is queried. The heart-rate
//      day routine tests the address before the separators are removed, so
//      an address of separators only passes and writes an empty key.
//
// The routines differ in the id column and where the empty test looks; the
// differences are one table of data in device.cpp, one entry per row kind
// with its legacy table. (Weight rows name no device.)
//
// veqAndroidItemCount counts the legacy items of a day or track row: all
// items of the row's "DATE" when the key came from "smart_device_id", else
// only those whose id column (the item kind's, as above) equals the row's
// "D_ID". Both run as "SELECT * FROM <items> WHERE DATE = <n> [AND <id
// column> = <n>]" on the legacy store, which answers them from grouped
// counts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "collaborators/fmdb.h"
#include "collaborators/value.h"

namespace veq {

// The routines that resolve a device, one per row kind.
enum class VEQAndroidRowKind : uint8_t {
  kHeartRateDay, kHeartRateItem, kSleepDay, kSleepItem, kSportDay, kSportItem,
  kBloodPressureDay, kBloodPressureItem, kActivity, kGpsTrack, kGpsPoint, kCount
};

struct VEQAndroidDevice {
  std::string macAddr;   // the device key
  bool fromRow = false;  // taken from the row's "smart_device_id"
};

// The row's device, or nullopt after stating the skip (unknown_device).
std::optional<VEQAndroidDevice> veqAndroidDevice(VEQAndroidRowKind kind, const VEQDict& row,
                                                 VEQFMDatabaseQueue* oldQueue);

// Legacy items of kind `itemKind` that belong to the day or track `row`.
int64_t veqAndroidItemCount(VEQAndroidRowKind itemKind, const VEQDict& row, const VEQAndroidDevice& device,
                            VEQFMDatabaseQueue* oldQueue);

}  // namespace veq
