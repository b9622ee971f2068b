// fixture_tables.cpp — the legacy tables of the generated stores.
#include "cli/fixture_tables.h"

#include <date/date.h>

#include <algorithm>
#include <utility>

namespace veq {

namespace {

using Ctx = FixtureRowContext;
using Stores = std::vector<FixtureStore>;

const Stores kIos = {FixtureStore::Ios};
const Stores kBothAndroid = {FixtureStore::Android, FixtureStore::AndroidCloud};

constexpr int kItemsPerDay = 96;  // fifteen-minute intervals
constexpr int kMinutesPerItem = 15;

// ---- Value makers -----------------------------------------------------------

FixtureValueMaker constant(VEQValue v) {
  return [v = std::move(v)](Ctx&) { return v; };
}
FixtureValueMaker between(int64_t lo, int64_t hi) {
  return [=](Ctx& c) { return VEQValue(c.rng.between(lo, hi)); };
}
FixtureValueMaker flag() { return between(0, 1); }
// A multiple of `step` in [lo, hi].
FixtureValueMaker stepped(int64_t lo, int64_t hi, int64_t step) {
  return [=](Ctx& c) { return VEQValue(c.rng.between(lo / step, hi / step) * step); };
}
FixtureValueMaker deviceMac() {
  return [](Ctx& c) { return VEQValue(c.device.mac); };
}
FixtureValueMaker userId() {
  return [](Ctx& c) { return VEQValue(c.device.userId); };
}
FixtureValueMaker androidId() {
  return [](Ctx& c) { return VEQValue(c.device.androidId); };
}
FixtureValueMaker dayDate() {
  return [](Ctx& c) { return VEQValue(c.day->ymd); };
}
FixtureValueMaker dayFirstMinute() {
  return [](Ctx& c) {
    return VEQValue(c.day->items.empty() ? 0 : int64_t{c.day->items.front().slot} * kMinutesPerItem);
  };
}
FixtureValueMaker daySum(int64_t FixtureSportItem::*field) {
  return [field](Ctx& c) {
    int64_t sum = 0;
    for (const FixtureSportItem& item : c.day->items) sum += item.*field;
    return VEQValue(sum);
  };
}
FixtureValueMaker itemValue(int64_t FixtureSportItem::*field) {
  return [field](Ctx& c) { return VEQValue(c.item->*field); };
}
// The item's place in its day counted from 1, or 0 on days whose items were
// stored without numbers.
FixtureValueMaker itemSerial() {
  return [](Ctx& c) { return VEQValue(c.day->unnumbered ? 0 : c.item->slot + 1); };
}

FixtureColumn text(std::string name, FixtureValueMaker value) {
  return {std::move(name), "TEXT", std::move(value)};
}
FixtureColumn integer(std::string name, FixtureValueMaker value) {
  return {std::move(name), "INTEGER", std::move(value)};
}

FixtureTable table(Stores stores, std::string name, FixtureRowsPer rowsPer, std::vector<FixtureColumn> columns,
                   std::vector<VEQDict> oddRows = {}, int deviceLimit = 0) {
  return {std::move(stores), std::move(name), rowsPer, std::move(columns), std::move(oddRows), deviceLimit};
}

// A legacy capability table: the device key, then one 0/1 column per flag.
FixtureTable capabilityTable(std::string name, std::vector<std::string> flags, int deviceLimit = 0) {
  FixtureTable t =
      table(kIos, std::move(name), FixtureRowsPer::Device, {text("smart_device_id", deviceMac())}, {}, deviceLimit);
  for (std::string& f : flags) t.columns.push_back(integer(std::move(f), flag()));
  return t;
}

const std::vector<std::string> kLanguages = {"ch", "eng", "french", "german", "italian", "spanish", "japanese", "czech"};
const std::vector<std::string> kMoreLanguages = {"romanian", "lithuanian", "dutch",   "slovenian",
                                                 "hungarian", "polish",    "russian", "ukrainian"};

// Rows of health tables that carry no device key or no date.
std::vector<VEQDict> unplaceableRows() { return {{{"smart_device_id", ""}}, {{"date", 0}}}; }

std::vector<FixtureTable> buildTables() {
  std::vector<FixtureTable> t;

  // ---- Legacy iOS devices and user ----
  t.push_back(table(kIos, "t_user_device", FixtureRowsPer::Device,
               {text("user_id", userId()), text("smart_device_id", deviceMac()), integer("band_status", flag())}));
  t.push_back(table(kIos, "t_smart_device", FixtureRowsPer::Device,
               {text("mac_address", deviceMac()),
                text("device_pk_id", [](Ctx& c) { return VEQValue("pk-" + c.device.userId); }),
                integer("device_id", between(7000, 7099)),
                text("version", [](Ctx& c) { return VEQValue("1." + std::to_string(c.rng.between(0, 9))); }),
                integer("model", between(1, 12)), integer("batt_status", between(0, 2)),
                integer("batt_level", between(5, 100)), integer("pair_flag", flag()),
                integer("reboot_flag", constant(0))}));
  t.push_back(table(kIos, "t_user", FixtureRowsPer::Device,
               {text("user_id", userId()), integer("height", between(150, 195)), integer("weight", between(45, 110)),
                integer("gender", flag()), integer("year", between(1955, 2008)), integer("month", between(1, 12)),
                integer("day", between(1, 28)), integer("goal_sleep_data_hour", between(6, 9)),
                integer("goal_sleep_data_minute", stepped(0, 30, 30)),
                integer("goal_sport_data", stepped(5000, 15000, 500)), integer("goal_type", flag())}));

  // ---- Legacy iOS capability tables ----
  t.push_back(table(kIos, "t_func_table", FixtureRowsPer::Device,
               {text("smart_device_id", deviceMac()), integer("alarm_count", between(0, 10)),
                integer("sport_show_num", between(0, 8))}));
  t.push_back(capabilityTable("t_func_main", {"stepCalculation", "sleepMonitor", "singleSport", "realtimeData",
                                              "deviceUpdate", "heartRate", "Ancs", "time_line"}));
  t.back().oddRows = {{{"smart_device_id", ""}}};
  t.push_back(capabilityTable("t_func_control", {"takePhoto", "music", "HIDPhoto", "FiveHRInterval", "BindAuth",
                                                 "fastSync", "exFuncTable", "BindCodeAuth"}));
  t.push_back(capabilityTable("t_table_call", {"calling", "callingContact", "callingNum"}));
  t.push_back(capabilityTable("t_func_notify", {"message", "email", "qq", "weixin", "sinaWeibo", "facebook", "twitter"}));
  t.push_back(capabilityTable("t_func_notify1", {"whatsapp", "messengre", "instagram", "linked_in", "calendar", "skype",
                                                 "alarm_clock"}));
  t.push_back(capabilityTable("t_func_other", {"sedentariness", "antilost", "onetouchCalling", "findPhone", "findDevice",
                                               "configDefault", "upHandGesture", "weather"}));
  t.push_back(capabilityTable("t_func_sms", {"tipInfoContact", "tipInfoNum", "tipInfoContent"}));
  t.push_back(capabilityTable("t_func_type", {"wakeUp", "sleep", "sport", "medicine", "dating", "party", "metting",
                                              "custom"}));
  t.push_back(capabilityTable("t_other_func_2", {"staticHR", "doNotDisturb", "displayMode", "heartRateMonitor",
                                                 "bilateral_antiLost", "all_app_notice", "flip_screen",
                                                 "noShowHRInterval"}));
  t.push_back(capabilityTable("t_sport_type0", {"walk", "run", "by_bike", "on_foot", "swim", "mountain_climbing",
                                                "badminton", "other"}));
  t.push_back(capabilityTable("t_sport_type1", {"fitness", "spinning", "ellipsoid", "treadmill", "sit_up", "push_up",
                                                "dumbbell", "weightlifting"}));
  t.push_back(capabilityTable("t_sport_type2", {"bodybuilding_exercise", "yoga", "rope_skipping", "table_tennis",
                                                "basketball", "footballl", "volleyball", "tennis"}));
  t.push_back(capabilityTable("t_sport_type4", {"golf", "baseball", "skiing", "roller_skating", "dance"}));
  t.push_back(capabilityTable("t_main1", {"login_in", "hidPhoto", "WatchDial", "shortcut", "unitSet", "BloodPressure",
                                          "wechatSport", "fineTimeControl"}));
  t.push_back(capabilityTable("t_func_ex_table", {"gps", "sleep_period", "screen_brightness"}));
  t.push_back(capabilityTable("t_lang_support", kLanguages));
  t.push_back(capabilityTable("t_lang_support1", kMoreLanguages));
  // Older releases wrote the language tables under other names, for the
  // devices they knew.
  t.push_back(capabilityTable("t_langSupport", kLanguages, 1));
  t.push_back(capabilityTable("t_ex_lang_support", kMoreLanguages, 1));

  // ---- Legacy iOS sport history ----
  t.push_back(table(kIos, "t_sport_data", FixtureRowsPer::Day,
               {text("smart_device_id", deviceMac()), integer("date", dayDate()),
                integer("items_count", constant(kItemsPerDay)),
                integer("total_step", daySum(&FixtureSportItem::steps)),
                integer("total_cal", daySum(&FixtureSportItem::calories)),
                integer("total_distances", daySum(&FixtureSportItem::distance)),
                integer("total_active_time", daySum(&FixtureSportItem::activeTime)),
                integer("minute_offset", dayFirstMinute()), integer("per_minute", constant(kMinutesPerItem)),
                integer("goal_sport_data", stepped(5000, 15000, 500))},
               unplaceableRows()));
  t.push_back(table(kIos, "t_sport_item", FixtureRowsPer::Item,
               {text("smart_device_id", deviceMac()), integer("date", dayDate()),
                integer("serial_number", itemSerial()), integer("mode", itemValue(&FixtureSportItem::mode)),
                integer("sport_count", itemValue(&FixtureSportItem::steps)),
                integer("active_time", itemValue(&FixtureSportItem::activeTime)),
                integer("calories", itemValue(&FixtureSportItem::calories)),
                integer("distance", itemValue(&FixtureSportItem::distance))},
               unplaceableRows()));

  // ---- Legacy Android devices ----
  t.push_back(table(kBothAndroid, "BASIC_INFOS", FixtureRowsPer::Device,
               {integer("D_ID", androidId()), text("MAC_ADDRESS", deviceMac())}));
  return t;
}

}  // namespace

std::string fixtureStoreFileName(FixtureStore store) {
  switch (store) {
    case FixtureStore::Ios: return "ios.sqlite";
    case FixtureStore::Android: return "android.sqlite";
    case FixtureStore::AndroidCloud: return "android_cloud.sqlite";
  }
  return "";
}

FixtureDayPlan fixtureDayPlan(uint64_t seed, const FixtureDevice& device, int dayIndex) {
  using namespace date;
  FixtureRng rng(seed, {FixtureRng::hashName("day"), static_cast<uint64_t>(device.index),
                        static_cast<uint64_t>(dayIndex)});
  FixtureDayPlan plan;
  plan.dayIndex = dayIndex;
  const year_month_day ymd{sys_days{year{2017} / January / 1} + days{dayIndex}};
  plan.ymd = int64_t{int(ymd.year())} * 10000 + unsigned(ymd.month()) * 100 + unsigned(ymd.day());
  plan.recorded = rng.percent(97);
  plan.unnumbered = rng.percent(5);
  // Most days are complete; on some the band was put on late or taken off.
  int first = 0, count = kItemsPerDay;
  if (rng.percent(10)) {
    count = static_cast<int>(rng.between(24, kItemsPerDay - 1));
    first = static_cast<int>(rng.between(0, kItemsPerDay - count));
  }
  plan.items.reserve(count);
  for (int slot = first; slot < first + count; ++slot) {
    FixtureSportItem item;
    item.slot = slot;
    const int hour = slot / 4;
    if (hour >= 7 && hour < 23 && rng.percent(60)) {
      item.steps = rng.between(20, 1500);
      item.mode = item.steps > 1000 ? 2 : 1;  // 1 walking, 2 running
      item.activeTime = std::min<int64_t>(kMinutesPerItem, item.steps / 90 + 1);
      item.calories = item.steps / 25;
      item.distance = item.steps * 7 / 10;
    }
    plan.items.push_back(item);
  }
  return plan;
}

const std::vector<FixtureTable>& fixtureTables() {
  static const std::vector<FixtureTable> tables = buildTables();
  return tables;
}

}  // namespace veq
