// models.cpp — the model schemas, built once from the table below, and the
// one model class that every VEQGet… / VEQSet… class is an instance of.

#include "collaborators/models.h"

#include <cctype>
#include <map>
#include <sstream>
#include <stdexcept>

#include "collaborators/sdk_utility.h"

namespace veq {

// Every stored model: class, new table, the kind of properties written
// without a kind, and the persisted properties in order ("name" or
// "name:kind", kind one of bool, int, text, object, array). macAddr and
// migrationState follow automatically.
#define VEQ_STORED_MODELS(M)                                                                          \
  M(VEQGetDeviceFuncBluetoothModel, "t_get_func_table", Integer, "alarmCount sportShowCount")         \
  M(VEQGetFuncTable1BluetoothModel, "t_get_func_lang", Bool,                                          \
    "ch eng french german italian spanish japanese czech")                                            \
  M(VEQGetFuncTable2BluetoothModel, "t_get_func_lang_extend", Bool,                                   \
    "romanian lithuanian dutch slovenian hungarian polish russian ukrainian")                         \
  M(VEQGetFuncTable4BluetoothModel, "t_get_func_main", Bool,                                          \
    "stepCalculation sleepMonitor singleSport realtimeData deviceUpdate heartRate ancs timeLine")     \
  M(VEQGetFuncTable5BluetoothModel, "t_get_func_control", Bool,                                       \
    "takePhoto music hidPhoto fiveHrInterval bindAuth fastSync exFuncTable bindCodeAuth")             \
  M(VEQGetFuncTable6BluetoothModel, "t_get_func_alarm", Bool,                                         \
    "wakeUp sleep sport medicine dating party metting custom")                                        \
  M(VEQGetFuncTable7BluetoothModel, "t_get_func_call", Bool, "calling callingContact callingNum")     \
  M(VEQGetFuncTable8BluetoothModel, "t_get_func_notify0", Bool,                                       \
    "message email qq weixin sinaWeibo facebook twitter")                                             \
  M(VEQGetFuncTable9BluetoothModel, "t_get_func_notify1", Bool,                                       \
    "whatsapp messengre instagram linkedIn calendar skype alarmClock")                                \
  M(VEQGetFuncTable10BluetoothModel, "t_get_func_notify2", Bool,                                      \
    "vkontakte line viber kakaoTalk gmail outlook snapchat")                                          \
  M(VEQGetFuncTable11BluetoothModel, "t_get_func_other", Bool,                                        \
    "sedentariness antilost onetouchCalling findPhone findDevice configDefault upHandGesture weather") \
  M(VEQGetFuncTable12BluetoothModel, "t_get_func_sms", Bool, "tipInfoContact tipInfoNum tipInfoContent") \
  M(VEQGetFuncTable13BluetoothModel, "t_get_func_other_extend", Bool,                                 \
    "staticHr doNotDisturb displayMode heartRateMonitor bilateralAntiLost allAppNotice flipScreen "   \
    "noShowHrInterval")                                                                               \
  M(VEQGetFuncTable14BluetoothModel, "t_get_func_other_sport_type0", Bool,                            \
    "walk run byBike onFoot swim mountainClimbing badminton other")                                   \
  M(VEQGetFuncTable15BluetoothModel, "t_get_func_other_sport_type1", Bool,                            \
    "fitness spinning ellipsoid treadmill sitUp pushUp dumbbell weightlifting")                       \
  M(VEQGetFuncTable16BluetoothModel, "t_get_func_other_sport_type2", Bool,                            \
    "bodybuildingExercise yoga ropeSkipping tableTennis basketball football volleyball tennis")       \
  M(VEQGetFuncTable17BluetoothModel, "t_get_func_other_sport_type3", Bool,                            \
    "golf baseball skiing rollerSkating dance")                                                       \
  M(VEQGetFuncTable18BluetoothModel, "t_get_func_main1", Bool,                                        \
    "logIn hidPhoto watchDial shortcut unitSet bloodPressure wechatSport fineTimeControl")            \
  M(VEQGetFuncTable19BluetoothModel, "t_get_func_extend", Bool, "gps sleepPeriod screenBrightness")   \
  M(VEQGetDeviceInfoBluetoothModel, "t_get_device_info", Integer,                                     \
    "deviceId:object version:object mode battStatus battLevel rebootFlag uuidStr:text bindState "     \
    "bindTimeStr:text bindType bindTimeout deviceName:text")                                          \
  M(VEQSetUserInfoBuletoothModel, "t_set_user_info", Integer,                                         \
    "height weight gender year month day goalSleepDataHour goalSleepDataMinute goalStepData "         \
    "goalType userId:text uuidStr:text bindState")                                                    \
  M(VEQGetLiveDataBluetoothModel, "t_set_live_data", Integer,                                         \
    "step calories distances activeTime heartRate")                                                   \
  M(VEQSetAlarmInfoBluetoothModel, "t_set_alarm", Integer,                                            \
    "isDelete:bool isSync:bool type hour minute alarmId tsnoozeDuration repeat:array isOpen:bool")    \
  M(VEQSetLongSitInfoBuletoothModel, "t_set_long_sit", Integer,                                       \
    "startHour startMinute endHour endMinute interval selectWeeks:array isOpen:bool")                 \
  M(VEQSetNoticeInfoBuletoothModel, "t_set_notice_info", Bool,                                        \
    "isPairing isOnChild callDelay:int isOnCall "                                                     \
    "isOnSms isOnEmail isOnWeChat isOnQq isOnWeibo isOnFaceBook isOnTwitter "                         \
    "isOnWhatsapp isOnMessenger isOnInstagram isOnLinkedIn isOnCalendar isOnSkype isOnAlarm "         \
    "isOnPokeman isOnVkontakte isOnLine isOnViber isOnKakaoTalk isOnGmail isOnOutlook isOnSnapchat "  \
    "isOnTelegram")                                                                                   \
  M(VEQSetPreventLostInfoBuletoothModel, "t_set_prevent_lost", Integer, "levelType")                  \
  M(VEQSetScreenBrightnessInfoBluetoothModel, "t_set_screen_brightness", Integer, "levelValue")       \
  M(VEQSetUnitInfoBluetoothModel, "t_set_unit", Integer,                                              \
    "distanceUnit weightUnit tempUnit strideWalk strideRun languageUnit timeUnit")                    \
  M(VEQSetHandUpInfoBuletoothModel, "t_set_hand_up", Integer,                                         \
    "isOpen:bool isHasTimeRange:bool showSecond startHour startMinute endHour endMinute")             \
  M(VEQSetFindPhoneInfoBuletoothModel, "t_set_find_phone", Bool, "isOpen")                            \
  M(VEQSetMusicOpenInfoBuletoothModel, "t_set_music_open", Bool, "isOpen")                            \
  M(VEQSetNoDisturbModeInfoBluetoothModel, "t_set_no_disturb_mode", Integer,                          \
    "isOpen:bool startHour startMinute endHour endMinute isHaveRangRepeat:bool")                      \
  M(VEQSetHrIntervalInfoBluetoothModel, "t_set_hr_interval", Integer,                                 \
    "burnFat aerobic limitValue userMaxHr warmUp anaerobic")                                          \
  M(VEQSetLeftOrRightInfoBuletoothModel, "t_set_left_or_right_hand", Bool, "isRight")                 \
  M(VEQSetHrModeInfoBluetoothModel, "t_set_hr_mode", Integer,                                         \
    "modeType isHasTimeRange:bool startHour startMinute endHour endMinute")                           \
  M(VEQSetDisplayModeInfoBluetoothModel, "t_set_display_mode", Integer, "modeType")                   \
  M(VEQSetOneKeySosInfoBuletoothModel, "t_set_one_key_sos", Bool, "isOpen")                           \
  M(VEQSetSportShortcutInfoBluetoothModel, "t_set_sport_shortcut", Bool,                              \
    "isWalk isRun isByBike isOnFoot isSwim isMountainClimbing isBadminton isOther "                   \
    "isFitness isSpinning isEllipsoid isTreadmill isSitUp isPushUp isDumbbell isWeightlifting "       \
    "isBodybuildingExercise isYoga isRopeSkipping isTableTennis isBasketball isFootball "             \
    "isVolleyball isTennis isGolf isBaseball isSkiing isRollerSkating isDance")                       \
  M(VEQSetWeatherSwitchInfoBluetoothModel, "t_set_weatcher_switch", Bool, "isOpen")                   \
  M(VEQSetShortcutInfoBluetoothModel, "t_set_shortcut", Integer, "shortcutType")                      \
  M(VEQSetWatchDiaInfoBluetoothModel, "t_set_watch_dia", Integer, "dialId")                           \
  M(VEQSetMenstruationInfoBluetoothModel, "t_set_menstruation_info", Integer,                         \
    "menstrualLength menstrualCycle lastMenstrualYear lastMenstrualMonth lastMenstrualDay "           \
    "ovulationIntervalDay ovulationBeforeDay ovulationAfterDay")                                      \
  M(VEQSetMenstruationRemindBluetoothModel, "t_set_menstruation_remind_info", Integer,                \
    "startDay ovulationDay hour minute")

namespace {

struct ModelEntry {
  const char* className;
  const char* tableName;
  VEQPropertyKind defaultKind;
  const char* properties;
  std::unique_ptr<VEQModel> (*make)();
};

// Look-up keys beyond mac_addr, for records a device has several of.
struct ExtraKey {
  const char* className;
  const char* property;
};
const ExtraKey kExtraLookupKeys[] = {{"VEQSetAlarmInfoBluetoothModel", "alarmId"}};

template <class Model>
std::unique_ptr<VEQModel> makeModel() {
  return std::make_unique<Model>();
}

#define VEQ_MODEL_ENTRY(Name, table, kind, props) {#Name, table, VEQPropertyKind::kind, props, &makeModel<Name>},
const ModelEntry kModels[] = {
    VEQ_STORED_MODELS(VEQ_MODEL_ENTRY)
    // Never stored: the clock settings that carry the current date.
    {"VEQSetTimeInfoBluetoothModel", "", VEQPropertyKind::Integer, "year month day hour minute second",
     &makeModel<VEQSetTimeInfoBluetoothModel>},
};
#undef VEQ_MODEL_ENTRY

VEQPropertyKind kindNamed(const std::string& word) {
  static const std::map<std::string, VEQPropertyKind> kinds = {
      {"bool", VEQPropertyKind::Bool},     {"int", VEQPropertyKind::Integer},
      {"text", VEQPropertyKind::Text},     {"object", VEQPropertyKind::Object},
      {"array", VEQPropertyKind::Array},
  };
  auto it = kinds.find(word);
  if (it == kinds.end()) throw std::logic_error("unknown property kind: " + word);
  return it->second;
}

void addProperty(VEQModelSchema* schema, std::string name, VEQPropertyKind kind) {
  std::string column = veqColumnNameForProperty(name);
  schema->properties.push_back({std::move(name), kind, std::move(column)});
}

VEQModelSchema buildSchema(const ModelEntry& entry) {
  VEQModelSchema schema;
  schema.className = entry.className;
  schema.tableName = entry.tableName;
  std::istringstream words(entry.properties);
  std::string word;
  while (words >> word) {
    size_t colon = word.find(':');
    if (colon == std::string::npos) {
      addProperty(&schema, word, entry.defaultKind);
    } else {
      addProperty(&schema, word.substr(0, colon), kindNamed(word.substr(colon + 1)));
    }
  }
  if (schema.indexOf("macAddr") < 0) addProperty(&schema, "macAddr", VEQPropertyKind::Text);
  if (schema.indexOf("migrationState") < 0) addProperty(&schema, "migrationState", VEQPropertyKind::Integer);

  schema.indexColumns.push_back(veqColumnNameForProperty("macAddr"));
  for (const ExtraKey& key : kExtraLookupKeys) {
    if (schema.className == key.className) schema.indexColumns.push_back(veqColumnNameForProperty(key.property));
  }
  return schema;
}

struct Registry {
  std::vector<VEQModelSchema> schemas;  // parallel to kModels
  std::vector<const VEQModelSchema*> pointers;

  Registry() {
    for (const ModelEntry& entry : kModels) schemas.push_back(buildSchema(entry));
    for (const VEQModelSchema& schema : schemas) pointers.push_back(&schema);
  }
};

const Registry& registry() {
  static const Registry instance;
  return instance;
}

int entryIndexNamed(std::string_view className) {
  for (size_t i = 0; i < std::size(kModels); ++i) {
    if (className == kModels[i].className) return static_cast<int>(i);
  }
  return -1;
}

const VEQModelSchema& schemaOf(std::string_view className) {
  const VEQModelSchema* schema = veqModelSchemaNamed(className);
  if (schema == nullptr) throw std::logic_error("no schema for model " + std::string(className));
  return *schema;
}

VEQValue zeroOf(VEQPropertyKind kind) {
  switch (kind) {
    case VEQPropertyKind::Bool: return VEQValue(false);
    case VEQPropertyKind::Integer: return VEQValue(int64_t{0});
    case VEQPropertyKind::Text: return VEQValue("");
    case VEQPropertyKind::Object: return VEQValue();
    case VEQPropertyKind::Array: return VEQValue(VEQArray{});
  }
  return VEQValue();
}

const char* sqlTypeOf(VEQPropertyKind kind) {
  switch (kind) {
    case VEQPropertyKind::Bool:
    case VEQPropertyKind::Integer: return " INTEGER";
    case VEQPropertyKind::Text:
    case VEQPropertyKind::Array: return " TEXT";
    case VEQPropertyKind::Object: return "";
  }
  return "";
}

// A value converted to a property's kind, as the platform's typed setters do.
VEQValue coerce(const VEQPropertySpec& property, VEQValue value) {
  switch (property.kind) {
    case VEQPropertyKind::Bool: return VEQValue(value.boolValue());
    case VEQPropertyKind::Integer: return VEQValue(value.integerValue());
    case VEQPropertyKind::Text: return value.isText() ? value : VEQValue(value.description());
    case VEQPropertyKind::Object: return value;
    case VEQPropertyKind::Array:
      if (value.isNull()) return VEQValue(VEQArray{});
      if (!value.isArray()) throw std::logic_error("property " + property.name + " takes a list");
      return value;
  }
  return value;
}

bool isUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
bool isLowerOrDigit(char c) {
  return std::islower(static_cast<unsigned char>(c)) != 0 || std::isdigit(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

std::string veqColumnNameForProperty(std::string_view property) {
  std::string column;
  column.reserve(property.size() + 4);
  for (size_t i = 0; i < property.size(); ++i) {
    char c = property[i];
    if (isUpper(c) && i > 0) {
      bool afterLower = isLowerOrDigit(property[i - 1]);
      bool endsCapitalRun = isUpper(property[i - 1]) && i + 1 < property.size() &&
                            std::islower(static_cast<unsigned char>(property[i + 1]));
      if (afterLower || endsCapitalRun) column += '_';
    }
    column += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return column;
}

int VEQModelSchema::indexOf(std::string_view property) const {
  for (size_t i = 0; i < properties.size(); ++i) {
    if (properties[i].name == property) return static_cast<int>(i);
  }
  return -1;
}

std::string VEQModelSchema::createTableSql() const {
  if (tableName.empty()) return "";
  std::string sql = "CREATE TABLE IF NOT EXISTS " + tableName + " (pk INTEGER PRIMARY KEY AUTOINCREMENT";
  for (const VEQPropertySpec& p : properties) sql += ", " + p.column + sqlTypeOf(p.kind);
  sql += ");";
  std::string indexName = tableName;
  std::string indexList;
  for (const std::string& column : indexColumns) {
    indexName += "_" + column;
    indexList += (indexList.empty() ? "" : ", ") + column;
  }
  sql += "CREATE INDEX IF NOT EXISTS " + indexName + " ON " + tableName + "(" + indexList + ");";
  return sql;
}

VEQModel::VEQModel(const VEQModelSchema& schema) : schema_(&schema) {
  values_.reserve(schema.properties.size());
  for (const VEQPropertySpec& p : schema.properties) values_.push_back(zeroOf(p.kind));
}

void VEQModel::setValue(std::string_view property, VEQValue value) {
  int i = schema_->indexOf(property);
  if (i < 0) throw std::logic_error(schema_->className + " has no property " + std::string(property));
  values_[i] = coerce(schema_->properties[i], std::move(value));
}

const VEQValue& VEQModel::value(std::string_view property) const {
  int i = schema_->indexOf(property);
  if (i < 0) throw std::logic_error(schema_->className + " has no property " + std::string(property));
  return values_[i];
}

const std::vector<const VEQModelSchema*>& veqAllModelSchemas() { return registry().pointers; }

const VEQModelSchema* veqModelSchemaNamed(std::string_view className) {
  int i = entryIndexNamed(className);
  return i < 0 ? nullptr : &registry().schemas[i];
}

std::unique_ptr<VEQModel> veqMakeModel(std::string_view className) {
  int i = entryIndexNamed(className);
  return i < 0 ? nullptr : kModels[i].make();
}

#define VEQ_DEFINE_MODEL(Name, table, kind, props)  \
  Name::Name() : VEQModel(modelSchema()) {}         \
  const VEQModelSchema& Name::modelSchema() {       \
    static const VEQModelSchema& schema = schemaOf(#Name); \
    return schema;                                  \
  }
VEQ_STORED_MODELS(VEQ_DEFINE_MODEL)
#undef VEQ_DEFINE_MODEL

const VEQModelSchema& VEQSetTimeInfoBluetoothModel::modelSchema() {
  static const VEQModelSchema& schema = schemaOf("VEQSetTimeInfoBluetoothModel");
  return schema;
}

VEQSetTimeInfoBluetoothModel::VEQSetTimeInfoBluetoothModel() : VEQModel(modelSchema()) {
  VEQDateComponents now = VEQSDKUtility::dateComponentsWithDateStr(std::to_string(VEQSDKUtility::now()));
  setYear(now.year);
  setInteger("month", now.month);
  setInteger("day", now.day);
  setInteger("hour", now.hour);
  setInteger("minute", now.minute);
  setInteger("second", now.second);
}

}  // namespace veq
