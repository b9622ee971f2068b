// fixture_tables.cpp — the legacy tables of the generated stores.
#include "cli/fixture_tables.h"

#include "cli/fixture_makers.h"

#include <date/date.h>

#include <algorithm>
#include <utility>

namespace veq {

using namespace fixture;

namespace {

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

}  // namespace

std::vector<FixtureTable> fixtureRegistryTables() {
  std::vector<FixtureTable> t;
  t.push_back(table(kIos, "t_user_device", FixtureRowsPer::Device,
               {text("user_id", userId()), text("smart_device_id", deviceMac()), integer("band_status", flag())}));
  for (FixtureStore store : kBothAndroid) {
    t.push_back(table({store}, "BASIC_INFOS", FixtureRowsPer::Device,
                      {integer("D_ID", androidIdOf(store)), text("MAC_ADDRESS", deviceMac())}));
  }
  return t;
}

std::vector<FixtureTable> fixtureCapabilityTables() {
  std::vector<FixtureTable> t;
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

  return t;
}

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
  static const std::vector<FixtureTable> tables = [] {
    std::vector<FixtureTable> all;
    for (auto group : {fixtureRegistryTables, fixtureSettingsTables, fixtureCapabilityTables, fixtureIosHealthTables,
                       fixtureAndroidHealthTables}) {
      for (FixtureTable& t : group()) all.push_back(std::move(t));
    }
    return all;
  }();
  return tables;
}

}  // namespace veq
