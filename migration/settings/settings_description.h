// settings_description.h — one settings conversion described as data.
//
// Every settings and capability conversion of the legacy iOS store has the
// same shape: find the device key, look the device's record up, fill a fresh
// model from the legacy row, and insert or update it (device_upsert.h). What
// differs between the conversions is described by a VEQSettingsDescription
// and carried out by veqMigrateSettingsRow:
//
//   model        the model class by name; it fixes the new table
//   pairs        legacy column → model property, each with a conversion;
//                set in order
//   key          where the device key comes from: a column of the row
//                ("smart_device_id" for nearly every table), or the legacy
//                iOS registry entry of the row's user id
//   storesKey    whether the key is written to the model's macAddr; when it
//                is not, the record keeps the model's own empty macAddr and
//                the look-up by key never finds it again, so every run
//                inserts anew (the menstrual-cycle records)
//   marksMigrated whether migrationState is set to 1
//   lookup       how the existing record is found (below)
//   compute      an optional hook for what a pair cannot say (bit fields,
//                the user-defaults take-over); it runs after the pairs, the
//                key and the migration mark, just before the upsert
//
// How a column is read is decided by the kind of the property it goes to,
// never by the description: a Bool property reads the column with boolValue,
// an Integer property with integerValue, a Text property as its "%@" text, an
// Object property as stored ("" when absent). So a count cannot be written
// as a flag by mistake. A conversion is then applied to the value read:
//
//   AsIs           the value read
//   PlusOne        integer + 1 (codes counted from 0 in the legacy store and
//                  from 1 in the new one)
//   TimesTwenty    integer × 20 (brightness step → percentage-like level)
//   Negated        !flag (left-hand flag → right-hand flag)
//   TwelveHourFlag 1 when the integer is non-zero, 2 when it is 0
//   Constant       no column is read; the pair's constant is set
//
// Rows:
//   * A row whose key column is empty is skipped (kNoDeviceKey). With the
//     registry: an empty user id is skipped (kNoUserId); a user with no
//     registry entry, or whose entry has no "smart_device_id", is skipped
//     (kUnknownDevice). Skipped rows touch neither the database nor the
//     defaults and report YES.
//   * Otherwise the result is that of the one UPDATE or INSERT.
//
// Failures that are programming errors throw std::logic_error the first time
// the description is used: an unknown model class, a property the model does
// not have, a conversion that does not fit the property's kind (PlusOne on a
// flag, Negated on a count, any conversion on a text), or an Array property
// fed from a column. Every description is exercised by the tests, so a
// misspelt name fails there and not on a phone.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/models.h"
#include "collaborators/value.h"

namespace veq {

enum class VEQConversion { AsIs, PlusOne, TimesTwenty, Negated, TwelveHourFlag, Constant };

struct VEQColumnPair {
  std::string_view column;    // legacy column ("" for a constant)
  std::string_view property;  // model property
  VEQConversion conversion = VEQConversion::AsIs;
  VEQValue constant = {};     // the value of a Constant pair
};

// A constant written to `property` whatever the row holds.
inline VEQColumnPair veqConstant(std::string_view property, VEQValue value) {
  return {"", property, VEQConversion::Constant, std::move(value)};
}

enum class VEQDeviceKeyFrom {
  RowColumn,        // the key is the text of `keyColumn`
  IosUserRegistry,  // `keyColumn` holds the user id; the key is the
                    // "smart_device_id" of the user's iOS registry entry
};

enum class VEQLookupRule {
  // "SELECT pk FROM <table> WHERE mac_addr = '<key>'"; a found record is
  // updated.
  Device,
  // The same query, run directly; only a pk of 1 or more is updated
  // (the "t_main1" capability table).
  DevicePositivePk,
  // "SELECT pk FROM t_set_alarm WHERE alarm_id = <alarm_id> AND mac_addr =
  // '<key>'": a device holds one record per alarm id.
  AlarmOfDevice,
};

// What a compute hook sees of the row being converted.
struct VEQSettingsRow {
  const VEQDict& row;
  const std::string& deviceKey;
  const VEQDict* registryEntry = nullptr;  // with IosUserRegistry only
};

using VEQSettingsHook = void (*)(const VEQSettingsRow& row, VEQModel& model);

struct VEQSettingsDescription {
  std::string_view modelClass;
  std::vector<VEQColumnPair> pairs;
  VEQDeviceKeyFrom keyFrom = VEQDeviceKeyFrom::RowColumn;
  std::string_view keyColumn = "smart_device_id";
  bool storesKey = true;
  bool marksMigrated = true;
  VEQLookupRule lookup = VEQLookupRule::Device;
  VEQSettingsHook compute = nullptr;
};

// Converts one legacy row as `description` says; see the rules above.
bool veqMigrateSettingsRow(const VEQSettingsDescription& description, const VEQDict& row, VEQFMDatabase* db);

}  // namespace veq
