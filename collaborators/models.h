// models.h — the device record models (VEQGet… / VEQSet…).
//
// A model is a record of one new settings or capability table. What differs
// between the model classes is data: each class has a VEQModelSchema naming
// its table and its persisted properties in order, with a kind per property.
// Every model persists `macAddr` and `migrationState`, placed after the
// class's own properties unless the schema lists them itself.
//
// Column names are derived from property names by one rule (camelCase →
// snake_case): an underscore goes before a capital that follows a lower-case
// letter or a digit, and before the last capital of a run when a lower-case
// letter follows it; then everything is lower-cased. So "macAddr" →
// "mac_addr", "isOnWeChat" → "is_on_we_chat", "isOnQq" → "is_on_qq",
// "HIDPhoto" → "hid_photo". Property names are camelCase, so runs of capitals
// do not occur in practice; the rule only keeps them readable if they do.
//
// Property values start at their kind's zero: NO, 0, "", an empty list, and
// the null value for an Object (which reads as 0 or ""). Setting a property
// converts the value to the property's kind the way the platform's typed
// setters do (boolValue, integerValue, description); an Object is kept as
// given; an Array property accepts only a list (null clears it).
// Setting or reading a property the schema does not name, or giving an Array
// property something other than a list, is a programming error and throws
// std::logic_error.
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
  // Columns of the (non-unique) look-up index: "mac_addr", then any further
  // key the record is looked up by ("alarm_id" for alarms).
  std::vector<std::string> indexColumns;

  // Index of a property, or -1.
  int indexOf(std::string_view property) const;
  // "CREATE TABLE IF NOT EXISTS <table> (pk INTEGER PRIMARY KEY
  // AUTOINCREMENT, <column> <type>, ...);CREATE INDEX IF NOT EXISTS
  // <table>_<index columns joined by _> ON <table>(<index columns>);".
  // Types by kind: Bool and Integer INTEGER, Text and Array TEXT, Object
  // none. "" for a model that is never stored.
  std::string createTableSql() const;
};

// camelCase → snake_case, by the rule above.
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
// The two menstrual-cycle models start with macAddr "" like every model; the
// migration never sets it, so their records keep an empty device key.
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
