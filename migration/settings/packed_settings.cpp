// The settings whose switches the legacy store packed into integers: alarms
// (repeat days), the long-sit reminder (switch and weekdays) and the
// notification sources. Each is a description (settings_description.h)
// whose hook unpacks the bit fields (bit_fields.h).

#include <array>
#include <string_view>

#include "collaborators/sdk_utility.h"
#include "migration/pro_db_manager.h"
#include "migration/settings/bit_fields.h"
#include "migration/settings/settings_description.h"

namespace veq {

namespace {

VEQArray bitsOf(const VEQDict& row, std::string_view column) {
  return VEQSDKUtility::getBinaryByDecimal(row.integerForKey(column));
}

// The stored repeat days are the reversed bit array (least significant day
// first); an alarm is on exactly when some repeat day is set, since the
// legacy row has no switch of its own.
void unpackAlarmRepeat(const VEQSettingsRow& in, VEQModel& model) {
  const VEQArray bits = bitsOf(in.row, "repeat");
  model.setValue("repeat", veqReversedBits(bits));
  model.setBool("isOpen", veqAnyBitSet(bits));
}

// Legacy "t_set_alarm": a device has several alarms, one record per alarm id.
const VEQSettingsDescription kAlarm{
    .modelClass = "VEQSetAlarmInfoBluetoothModel",
    .pairs = {{"is_delete", "isDelete"}, {"is_synchronize", "isSync"}, {"type", "type"}, {"hour", "hour"},
              {"minute", "minute"}, {"alarm_id", "alarmId"}, {"tsnooze_duration", "tsnoozeDuration"}},
    .lookup = VEQLookupRule::AlarmOfDevice,
    .compute = unpackAlarmRepeat};

// The lowest digit of "repetitions" is the switch, the next seven the
// weekdays.
void unpackLongSitRepetitions(const VEQSettingsRow& in, VEQModel& model) {
  const VEQLongSitSwitches switches = veqLongSitSwitches(veqReversedBits(bitsOf(in.row, "repetitions")));
  model.setValue("selectWeeks", switches.weeks);
  model.setBool("isOpen", switches.isOpen);
}

// Legacy "t_long_sit".
const VEQSettingsDescription kLongSit{
    .modelClass = "VEQSetLongSitInfoBuletoothModel",
    .pairs = {{"start_hour", "startHour"}, {"start_minute", "startMinute"}, {"end_hour", "endHour"},
              {"end_minute", "endMinute"}, {"interval", "interval"}},
    .compute = unpackLongSitRepetitions};

// The values the legacy store wrote for "on" in its notice switches.
constexpr int64_t kPairedMode = 85;
constexpr int64_t kChildMode = 136;
constexpr int64_t kCallsOn = 85;

// Each notify column's source switches by position in its bit array (as
// returned, not reversed); "" marks a position that carries nothing.
struct NoticeSources {
  std::string_view column;
  std::array<std::string_view, 8> byPosition;
};
const std::array<NoticeSources, 3> kNoticeSources = {{
    {"notify_itme1",
     {"isOnTwitter", "isOnFaceBook", "isOnWeibo", "isOnQq", "isOnWeChat", "isOnEmail", "isOnSms", ""}},
    {"notify_itme2",
     {"isOnPokeman", "isOnAlarm", "isOnSkype", "isOnCalendar", "isOnLinkedIn", "isOnInstagram", "isOnMessenger",
      "isOnWhatsapp"}},
    {"notify_itme3",
     {"isOnTelegram", "isOnSnapchat", "isOnOutlook", "isOnGmail", "isOnKakaoTalk", "isOnViber", "isOnLine",
      "isOnVkontakte"}},
}};

void unpackNoticeSwitches(const VEQSettingsRow& in, VEQModel& model) {
  const int64_t notifySwitch = in.row.integerForKey("notify_switch");
  model.setBool("isPairing", notifySwitch == kPairedMode);
  model.setBool("isOnChild", notifySwitch == kChildMode);
  model.setBool("isOnCall", in.row.integerForKey("call_switch") == kCallsOn);
  for (const NoticeSources& sources : kNoticeSources) {
    veqSetSwitchesFromBits(model, bitsOf(in.row, sources.column), sources.byPosition);
  }
}

// Legacy "t_notice".
const VEQSettingsDescription kNotice{
    .modelClass = "VEQSetNoticeInfoBuletoothModel",
    .pairs = {{"call_delay", "callDelay"}},
    .compute = unpackNoticeSwitches};

}  // namespace

bool VEQProDBManager::alarmDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kAlarm, dic, database);
}
bool VEQProDBManager::longSitDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kLongSit, dic, database);
}
bool VEQProDBManager::noticeDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database) {
  return veqMigrateSettingsRow(kNotice, dic, database);
}

}  // namespace veq
