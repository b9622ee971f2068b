// models.h — the device record models (VEQGet… / VEQSet…).
//
// A model is a record of one new settings or capability table. What differs
// between the model classes is data: each class has a VEQModelSchema naming
// its table and its persisted properties in order, with a kind per property.
// Column names are derived from property names by one rule: camelCase becomes
// snake_case ("macAddr" → "mac_addr", "isOnWeChat" → "is_on_we_chat").
// Every model persists `macAddr` and `migrationState`, placed after the
// class's own properties unless the schema lists them itself.
//
// Property values start at their kind's zero: NO, 0, "" or an empty list.
// Setting or reading a property the schema does not name is a programming
// error and throws std::logic_error.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/value.h"

namespace veq {

enum class VEQPropertyKind { Bool, Integer, Text, Object, Array };

struct VEQPropertySpec {
  std::string name;    // property name, e.g. "sleepPeriod"
  VEQPropertyKind kind;
  std::string column;  // derived column name, e.g. "sleep_period"
};

struct VEQModelSchema {
  std::string className;
  std::string tableName;  // "" for models that are never stored
  std::vector<VEQPropertySpec> properties;  // persisted, in order

  // Index of a property, or -1.
  int indexOf(std::string_view property) const;
  // CREATE TABLE IF NOT EXISTS text: "pk" INTEGER PRIMARY KEY, then one
  // column per property; plus an index on mac_addr.
  std::string createTableSql() const;
};

// camelCase → snake_case.
std::string veqColumnNameForProperty(std::string_view property);

class VEQModel {
 public:
  virtual ~VEQModel() = default;

  const VEQModelSchema& schema() const { return *schema_; }
  const std::string& tableName() const { return schema_->tableName; }

  void setValue(std::string_view property, VEQValue value);
  const VEQValue& value(std::string_view property) const;
  // Values of all persisted properties, in property order.
  const std::vector<VEQValue>& values() const { return values_; }

  void setBool(std::string_view property, bool v) { setValue(property, VEQValue(v)); }
  void setInteger(std::string_view property, int64_t v) { setValue(property, VEQValue(v)); }
  void setText(std::string_view property, std::string v) { setValue(property, VEQValue(std::move(v))); }

  std::string macAddr() const { return value("macAddr").description(); }
  void setMacAddr(std::string macAddr) { setText("macAddr", std::move(macAddr)); }
  int64_t migrationState() const { return value("migrationState").integerValue(); }
  void setMigrationState(int64_t state) { setInteger("migrationState", state); }

 protected:
  explicit VEQModel(const VEQModelSchema& schema);

 private:
  const VEQModelSchema* schema_;
  std::vector<VEQValue> values_;
};

// Every model schema known to the build (those with a table are installed).
const std::vector<const VEQModelSchema*>& veqAllModelSchemas();
// The schema of a class by name, or nullptr.
const VEQModelSchema* veqModelSchemaNamed(std::string_view className);
// A fresh model of a class by name, or nullptr for an unknown name.
std::unique_ptr<VEQModel> veqMakeModel(std::string_view className);

#define VEQ_DECLARE_MODEL(Name)  \
  class Name : public VEQModel { \
   public:                       \
    Name();                      \
    static const VEQModelSchema& modelSchema(); \
  };

// Capability (function-table) models.
VEQ_DECLARE_MODEL(VEQGetDeviceFuncBluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable1BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable2BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable4BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable5BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable6BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable7BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable8BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable9BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable10BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable11BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable12BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable13BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable14BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable15BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable16BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable17BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable18BluetoothModel)
VEQ_DECLARE_MODEL(VEQGetFuncTable19BluetoothModel)
// Device, user and live data.
VEQ_DECLARE_MODEL(VEQGetDeviceInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetUserInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQGetLiveDataBluetoothModel)
// Settings models.
VEQ_DECLARE_MODEL(VEQSetAlarmInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetLongSitInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetNoticeInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetPreventLostInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetScreenBrightnessInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetUnitInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetHandUpInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetFindPhoneInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetMusicOpenInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetNoDisturbModeInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetHrIntervalInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetLeftOrRightInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetHrModeInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetDisplayModeInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetOneKeySosInfoBuletoothModel)
VEQ_DECLARE_MODEL(VEQSetSportShortcutInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetWeatherSwitchInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetShortcutInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetWatchDiaInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetMenstruationInfoBluetoothModel)
VEQ_DECLARE_MODEL(VEQSetMenstruationRemindBluetoothModel)

// The phone's clock settings. Never stored by the migration; a fresh
// instance carries the current date (year, month, day, hour, minute,
// second) taken from VEQSDKUtility::now() in the configured zone.
class VEQSetTimeInfoBluetoothModel : public VEQModel {
 public:
  VEQSetTimeInfoBluetoothModel();
  static const VEQModelSchema& modelSchema();
  int64_t year() const { return value("year").integerValue(); }
  void setYear(int64_t year) { setInteger("year", year); }
};

#undef VEQ_DECLARE_MODEL

}  // namespace veq
