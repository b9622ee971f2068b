// fixture_settings.cpp — the legacy iOS settings tables: the device and its
// user, and each device's settings.
#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

namespace {

// A settings table: the device key, then the table's own columns.
FixtureTable settingsTable(std::string name, std::vector<FixtureColumn> columns, std::vector<VEQDict> oddRows = {}) {
  columns.insert(columns.begin(), text("smart_device_id", deviceMac()));
  return table(kIos, std::move(name), FixtureRowsPer::Device, std::move(columns), std::move(oddRows));
}

std::vector<VEQDict> keylessRow() { return {{{"smart_device_id", ""}}}; }

FixtureColumn hour(std::string name, int64_t lo, int64_t hi) { return integer(std::move(name), between(lo, hi)); }
FixtureColumn minute(std::string name) { return integer(std::move(name), stepped(0, 55, 5)); }

// Half the devices (odd index) set a flag, the other half do not, so both
// forms are present whatever the seed.
FixtureValueMaker oddDevice() {
  return [](Ctx& c) { return VEQValue(c.device.index % 2); };
}

// The long-sit switch and weekdays: the even devices' masks fit in eight
// binary digits, the odd devices' need nine.
FixtureValueMaker longSitMask() {
  return [](Ctx& c) { return VEQValue(c.device.index % 2 == 0 ? c.rng.between(0, 255) : c.rng.between(256, 511)); };
}

// Alarms: two to four per device with ids from 0, some switched off (no
// repeat day), and one row without a device.
FixtureTable alarmTable() {
  std::vector<FixtureColumn> columns = {
      text("smart_device_id", deviceMac()), integer("alarm_id", constant(0)), integer("type", between(0, 7)),
      hour("hour", 5, 9), minute("minute"),
      integer("repeat", [](Ctx& c) { return VEQValue(c.rng.percent(20) ? 0 : c.rng.between(1, 127)); }),
      integer("is_delete", constant(0)), integer("is_synchronize", flag()),
      integer("tsnooze_duration", oneOf({5, 10, 15}))};
  auto generate = [columns](FixtureGeneration& g, const std::function<void(VEQArray)>& emit) {
    auto row = [&](const FixtureDevice& device, int64_t alarmId) {
      FixtureRowContext context{g.rng, device};
      VEQArray values;
      for (const FixtureColumn& column : columns) values.push_back(column.value(context));
      values[1] = VEQValue(alarmId);
      return values;
    };
    for (const FixtureDevice& device : g.devices) {
      const int64_t alarms = g.rng.between(2, 4);
      for (int64_t id = 0; id < alarms; ++id) emit(row(device, id));
    }
    VEQArray keyless = row(g.devices.front(), 0);
    keyless[0] = VEQValue("");
    emit(std::move(keyless));
  };
  return generatedTable(kIos, "t_set_alarm", columns, generate);
}

}  // namespace

std::vector<FixtureTable> fixtureSettingsTables() {
  std::vector<FixtureTable> t;
  t.push_back(table(kIos, "t_smart_device", FixtureRowsPer::Device,
               {text("mac_address", deviceMac()),
                text("device_pk_id", [](Ctx& c) { return VEQValue("pk-" + c.device.userId); }),
                integer("device_id", between(7000, 7099)),
                text("version", [](Ctx& c) { return VEQValue("1." + std::to_string(c.rng.between(0, 9))); }),
                integer("model", between(1, 12)), integer("batt_status", between(0, 2)),
                integer("batt_level", between(5, 100)), integer("pair_flag", flag()),
                integer("reboot_flag", constant(0))},
               {{{"mac_address", ""}}}));
  // One user per registered device, one whose device the registry does not
  // know, and one without a user id.
  t.push_back(table(kIos, "t_user", FixtureRowsPer::Device,
               {text("user_id", userId()), integer("height", between(150, 195)), integer("weight", between(45, 110)),
                integer("gender", flag()), integer("year", between(1955, 2008)), integer("month", between(1, 12)),
                integer("day", between(1, 28)), integer("goal_sleep_data_hour", between(6, 9)),
                integer("goal_sleep_data_minute", stepped(0, 30, 30)),
                integer("goal_sport_data", stepped(5000, 15000, 500)), integer("goal_type", flag())},
               {{{"user_id", "900001"}}, {{"user_id", ""}}}));

  t.push_back(settingsTable("t_live_data",
                            {integer("step", between(0, 20000)), integer("calories", between(0, 900)),
                             integer("distances", between(0, 15000)), integer("active_time", between(0, 180)),
                             integer("heart_rate", between(55, 150))},
                            keylessRow()));
  t.push_back(settingsTable("t_lost_find", {integer("lost_type", between(0, 2))}));
  t.push_back(settingsTable("t_screen_light", {integer("level", between(0, 5))}));
  t.push_back(settingsTable("t_notice",
                            {integer("notify_switch", oneOf({85, 136, 0})), integer("call_switch", oneOf({85, 0})),
                             integer("call_delay", between(0, 10)), integer("notify_itme1", between(0, 127)),
                             integer("notify_itme2", between(0, 255)), integer("notify_itme3", between(0, 255))},
                            keylessRow()));
  t.push_back(alarmTable());
  t.push_back(settingsTable("t_set_unit",
                            {integer("dist_uint", flag()), integer("weight_uint", between(0, 2)),
                             integer("temp", flag()), integer("stride", between(60, 80)),
                             integer("stride_run", between(80, 120)), integer("language", between(0, 7)),
                             integer("is_12hour_format", oddDevice())}));
  t.push_back(settingsTable("t_long_sit",
                            {hour("start_hour", 8, 10), minute("start_minute"), hour("end_hour", 17, 19),
                             minute("end_minute"), integer("interval", stepped(30, 120, 15)),
                             integer("repetitions", longSitMask())}));
  t.push_back(settingsTable("t_hand_gesture",
                            {integer("isOpen", flag()), integer("hasTimeRange", flag()),
                             integer("showSecond", between(3, 10)), hour("start_hour", 7, 9), minute("start_minute"),
                             hour("end_hour", 21, 23), minute("end_minute")}));
  t.push_back(settingsTable("t_find_phone", {integer("is_open", flag())}));
  t.push_back(settingsTable("t_musci_on", {integer("isOn", flag())}));
  t.push_back(settingsTable("t_do_not_disturb",
                            {integer("switch_flag", flag()), hour("start_hour", 21, 23), minute("start_minute"),
                             hour("end_hour", 6, 8), minute("end_minute")}));
  t.push_back(settingsTable("t_heart_rate_interval",
                            {integer("burn_fat_threshold", between(110, 130)),
                             integer("aerobic_threshold", between(131, 150)),
                             integer("limit_threshold", between(151, 175)),
                             integer("user_max_hr", between(176, 200))}));
  t.push_back(settingsTable("t_handel_type", {integer("is_left_hand", flag())}));
  t.push_back(settingsTable("t_heart_rate_mode",
                            {integer("mode", between(0, 2)), integer("hasTimeRange", flag()), hour("start_hour", 0, 8),
                             minute("start_minute"), hour("end_hour", 18, 23), minute("end_minute")}));
  t.push_back(settingsTable("t_land_scape", {integer("display_mode", flag())}));
  t.push_back(settingsTable("t_sos_model", {integer("is_open", flag())}));
  std::vector<FixtureColumn> shortcuts;
  for (const char* sport :
       {"type1_walk", "type1_run", "type1_by_bike", "type1_on_foot", "type1_swim", "type1_mountain_climbing",
        "type1_badminton", "type1_other", "type2_fitness", "type2_spinning", "type2_ellipsoid", "type2_treadmill",
        "type2_sit_up", "type2_push_up", "type2_dumbbell", "type2_weightlifting", "type3_bodybuilding_exercise",
        "type3_yoga", "type3_rope_skipping", "type3_table_tennis", "type3_basketball", "type3_footballl",
        "type3_volleyball", "type3_tennis", "type4_golf", "type4_baseball", "type4_skiing", "type4_roller_skating",
        "type4_dance"}) {
    shortcuts.push_back(integer(sport, flag()));
  }
  t.push_back(settingsTable("t_psrm_data", std::move(shortcuts)));
  t.push_back(settingsTable("t_weather_switch", {integer("is_open", flag())}));
  t.push_back(settingsTable("t_short_cut", {integer("type", between(0, 5))}));
  t.push_back(settingsTable("t_watch_dia", {integer("type", between(1, 12))}));
  t.push_back(settingsTable("t_menstruationInfo",
                            {integer("menstrualLength", between(3, 7)), integer("menstrualCycle", between(24, 35)),
                             integer("lastMenstrualYear", constant(2017)),
                             integer("lastMenstrualMonth", between(1, 12)),
                             integer("lastMenstrualDay", between(1, 28)),
                             integer("ovulationIntervalDay", between(12, 16)),
                             integer("ovulationBeforeDay", between(3, 5)),
                             integer("ovulationAfterDay", between(3, 5))}));
  t.push_back(settingsTable("t_menstruationRemind",
                            {integer("startDay", between(1, 3)), integer("ovulationDay", between(1, 3)),
                             hour("hour", 7, 21), minute("minute")}));
  return t;
}

}  // namespace veq
