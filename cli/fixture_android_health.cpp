// fixture_android_health.cpp — the health history of the generated legacy
// Android stores.
//
// Each store holds the days it synced: the local store the later two thirds
// of the fixture days, the cloud store the first half, so the stores share
// some days (whose rows are identical and update the same new records) and
// each has days of its own. A store names a device by its own "D_ID"
// (androidIdIn), which only that store's "BASIC_INFOS" resolves.
//
// What a device recorded on a day depends on the seed, the device and the
// day alone (the day plan, and a stream per device-day and subject), never
// on the store, so shared days agree and day rows agree with their items.
//
// Legacy forms: "DATE" of a day and of its items is the epoch milliseconds
// of the day's noon UTC, which falls on the same calendar day in every zone
// within twelve hours of UTC; GPS and workout "DATE"s are their start times.
// The stores also hold what a migration must cope with: days whose year was
// written in the Buddhist era (every eleventh day), day rows that carry
// their device key in "smart_device_id" (every thirteenth day), a day of an
// unset clock (1970), rows of a device id in neither registry, workouts
// whose "DATE" is unset (-1) and one whose JSON does not parse.
#include <date/date.h>
#include <fmt/format.h>

#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

namespace {

constexpr int64_t kMsPerDay = 86400000;
constexpr int64_t kMsPerMinute = 60000;
constexpr int64_t kNoonMs = 12 * 60 * kMsPerMinute;
constexpr int64_t kUnknownDeviceId = 250;
constexpr int kBuddhistEra = 543;

// The fixture days [first, end) a store holds.
struct StoreDays {
  int first;
  int end;
};

StoreDays daysOf(FixtureStore store, int days) {
  return store == FixtureStore::AndroidCloud ? StoreDays{0, (days + 1) / 2} : StoreDays{days / 3, days};
}

// One device-day as an Android store keeps it.
struct AndroidDay {
  const FixtureDevice& device;
  int64_t id;  // "D_ID" in this store
  const FixtureDayPlan& plan;
  int64_t year = 0, month = 0, day = 0;  // as stored (Buddhist era on some days)
  int64_t date = 0;                      // "DATE" of the day and its items
  std::string ownKey;                    // "smart_device_id" of day rows, usually ""
  int64_t midnightMs = 0;                // start of the day, UTC; 0 for the unset clock's day
};

int64_t midnightMsOf(int dayIndex) {
  using namespace date;
  return int64_t{(sys_days{year{2017} / January / 1} + days{dayIndex}).time_since_epoch().count()} * kMsPerDay;
}

AndroidDay androidDay(const FixtureDevice& device, int64_t id, const FixtureDayPlan& plan) {
  using namespace date;
  const year_month_day common{sys_days{year{2017} / January / 1} + days{plan.dayIndex}};
  const year_month_day buddhist = common + years{kBuddhistEra};
  const year_month_day stored = plan.dayIndex % 11 == 7 && buddhist.ok() ? buddhist : common;
  AndroidDay d{device, id, plan, 0, 0, 0, 0, {}, 0};
  d.year = int{stored.year()};
  d.month = unsigned{stored.month()};
  d.day = unsigned{stored.day()};
  d.date = int64_t{sys_days{stored}.time_since_epoch().count()} * kMsPerDay + kNoonMs;
  if (plan.dayIndex % 13 == 5) {
    std::remove_copy(device.mac.begin(), device.mac.end(), std::back_inserter(d.ownKey), ':');
  }
  d.midnightMs = midnightMsOf(plan.dayIndex);
  return d;
}

// Calls `visit` for every recorded day of every device the store holds,
// then for the store's first day as a device in neither registry and as a
// day of an unset clock (1970).
void forEachDay(const FixtureGeneration& g, FixtureStore store, const std::function<void(const AndroidDay&)>& visit) {
  const StoreDays range = daysOf(store, g.days);
  for (const FixtureDevice& device : g.devices) {
    for (int d = range.first; d < range.end; ++d) {
      const FixtureDayPlan plan = fixtureDayPlan(g.seed, device, d);
      if (plan.recorded) visit(androidDay(device, androidIdIn(store, device), plan));
    }
  }
  if (range.first >= range.end) return;
  const FixtureDevice& first = g.devices.front();
  const FixtureDayPlan plan = fixtureDayPlan(g.seed, first, range.first);
  visit(androidDay(first, kUnknownDeviceId, plan));
  AndroidDay unset = androidDay(first, androidIdIn(store, first), plan);
  unset.year = 1970, unset.month = 1, unset.day = 1;
  unset.date = kNoonMs;
  unset.ownKey.clear();
  unset.midnightMs = 0;
  visit(unset);
}

// A stream of its own for one subject of one device-day.
FixtureRng dayRng(const FixtureGeneration& g, std::string_view subject, const AndroidDay& d) {
  return FixtureRng(g.seed, {FixtureRng::hashName(subject), static_cast<uint64_t>(d.device.index),
                             static_cast<uint64_t>(d.plan.dayIndex)});
}

std::vector<FixtureColumn> columns(std::initializer_list<std::pair<const char*, const char*>> nameTypes) {
  std::vector<FixtureColumn> out;
  for (auto [name, type] : nameTypes) out.push_back({name, type, {}});
  return out;
}

using DayRows = std::function<void(const FixtureGeneration&, const AndroidDay&, const std::function<void(VEQArray)>&)>;

// A table whose rows are made day by day.
FixtureTable dayTable(FixtureStore store, std::string name, std::vector<FixtureColumn> cols, DayRows rows) {
  return generatedTable({store}, std::move(name), std::move(cols),
                        [store, rows = std::move(rows)](FixtureGeneration& g, const auto& emit) {
                          forEachDay(g, store, [&](const AndroidDay& d) { rows(g, d, emit); });
                        });
}

using DayValues = std::function<std::optional<VEQArray>(const FixtureGeneration&, const AndroidDay&)>;

// A table of one row per device-day: the day's columns "smart_device_id",
// "D_ID", "DATE", "YEAR", "MONTH" and "DAY", then `more`, whose values
// `values` gives (nothing on a day without a row).
FixtureTable dayRowTable(FixtureStore store, std::string name,
                         std::initializer_list<std::pair<const char*, const char*>> more, DayValues values) {
  std::vector<FixtureColumn> cols = columns({{"smart_device_id", "TEXT"}, {"D_ID", "INTEGER"}, {"DATE", "INTEGER"},
                                             {"YEAR", "INTEGER"}, {"MONTH", "INTEGER"}, {"DAY", "INTEGER"}});
  for (const FixtureColumn& c : columns(more)) cols.push_back(c);
  return dayTable(store, std::move(name), std::move(cols),
                  [values = std::move(values)](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                    std::optional<VEQArray> rest = values(g, d);
                    if (!rest) return;
                    VEQArray row = {d.ownKey, d.id, d.date, d.year, d.month, d.day};
                    row.insert(row.end(), rest->begin(), rest->end());
                    emit(std::move(row));
                  });
}

// ---- Heart rate: a measurement every half hour the band was worn ------------

struct HeartDay {
  std::vector<std::pair<int64_t, int64_t>> items;  // minute of the day, rate
  int64_t maxHr = 0, resting = 0, burnFat = 0, aerobic = 0, limit = 0;
  int64_t burnFatMins = 0, aerobicMins = 0, limitMins = 0;
};

HeartDay heartDay(const FixtureGeneration& g, const AndroidDay& d) {
  FixtureRng rng = dayRng(g, "android heart rate", d);
  HeartDay h;
  h.maxHr = 190 - 3 * d.device.index;
  h.burnFat = h.maxHr * 6 / 10;
  h.aerobic = h.maxHr * 7 / 10;
  h.limit = h.maxHr * 85 / 100;
  h.resting = 1000;
  for (const FixtureSportItem& item : d.plan.items) {
    if (item.slot % 2 != 0) continue;
    const int64_t rate = 56 + item.steps / 12 + rng.between(-4, 6);
    h.items.emplace_back(int64_t{item.slot} * kMinutesPerItem, rate);
    h.resting = std::min(h.resting, rate);
    if (rate >= h.limit) h.limitMins += 30;
    else if (rate >= h.aerobic) h.aerobicMins += 30;
    else if (rate >= h.burnFat) h.burnFatMins += 30;
  }
  return h;
}

// ---- Sleep: the night that ended on the day, in stretches of one state ----

constexpr int64_t kAwake = 1, kLight = 2, kDeep = 3;

struct Night {
  int64_t endHour = 0, endMinute = 0;
  std::vector<std::pair<int64_t, int64_t>> stretches;  // state, minutes
  int64_t minutes(int64_t state) const {
    int64_t sum = 0;
    for (auto [s, m] : stretches) sum += s == state ? m : 0;
    return sum;
  }
  int64_t count(int64_t state) const {
    return std::count_if(stretches.begin(), stretches.end(), [state](auto s) { return s.first == state; });
  }
};

Night night(const FixtureGeneration& g, const AndroidDay& d) {
  FixtureRng rng = dayRng(g, "android sleep", d);
  Night n;
  n.endHour = rng.between(5, 8);
  n.endMinute = rng.between(0, 59);
  int64_t total = 0;
  const int64_t length = rng.between(300, 540);
  for (int64_t state = kLight; total < length; state = state == kDeep || rng.percent(20) ? kLight : kDeep) {
    if (rng.percent(8)) state = kAwake;
    const int64_t minutes = std::min(length - total, rng.between(10, 70));
    n.stretches.emplace_back(state, minutes);
    total += minutes;
  }
  return n;
}

// ---- Blood pressure: a few measurements on some days -------------------------

struct Pressure {
  int64_t minute, systolic, diastolic;
};

std::vector<Pressure> pressures(const FixtureGeneration& g, const AndroidDay& d) {
  FixtureRng rng = dayRng(g, "android blood pressure", d);
  std::vector<Pressure> out;
  if (!rng.percent(40)) return out;
  for (int64_t i = 0, n = rng.between(3, 6); i < n; ++i) {
    out.push_back({rng.between(0, 1439), rng.between(105, 145), rng.between(65, 95)});
  }
  std::sort(out.begin(), out.end(), [](const Pressure& a, const Pressure& b) { return a.minute < b.minute; });
  return out;
}

// ---- Workouts and their tracks ------------------------------------------------

struct Workout {
  bool tracked = false;  // recorded with GPS
  int64_t startMs = 0, interval = 0, points = 0, seconds = 0, type = 0;
};

std::optional<Workout> workout(const FixtureGeneration& g, const AndroidDay& d) {
  FixtureRng rng = dayRng(g, "android workout", d);
  if (!rng.percent(30) || d.midnightMs == 0) return std::nullopt;
  Workout w;
  w.tracked = rng.percent(70);
  w.startMs = d.midnightMs + rng.between(6 * 3600, 20 * 3600) * 1000;
  w.seconds = rng.between(600, 3600);
  w.points = rng.between(15, 40);
  w.interval = w.seconds / w.points;
  w.type = w.tracked ? rng.between(1, 3) : rng.between(4, 9);
  return w;
}

std::string workoutJson(const FixtureGeneration& g, const AndroidDay& d, const Workout& w) {
  FixtureRng rng = dayRng(g, "android workout json", d);
  std::vector<int64_t> rates;
  for (int64_t i = 0, n = w.seconds / 60 + 1; i < n; ++i) rates.push_back(rng.between(95, 175));
  // Older firmware grouped the rates by ten minutes; newer sends one array.
  std::string hr;
  if (d.plan.dayIndex % 2 == 0) {
    std::vector<std::string> groups;
    for (size_t i = 0; i < rates.size(); i += 10) {
      const auto end = rates.begin() + static_cast<std::ptrdiff_t>(std::min(rates.size(), i + 10));
      groups.push_back(fmt::format("\"{}\":[{}]", i / 10, fmt::join(rates.begin() + i, end, ",")));
    }
    hr = fmt::format("\"hr\":{{{}}}", fmt::join(groups, ","));
  } else {
    hr = fmt::format("\"hr_data_vlaue\":[{}]", fmt::join(rates, ","));
  }
  const int64_t steps = w.type <= 3 ? w.seconds * rng.between(120, 170) / 60 : 0;
  return fmt::format(
      "{{\"date\":{},\"type\":{},\"step\":{},\"durations\":{},\"calories\":{},\"distance\":{},\"avg_hr_value\":{},"
      "\"max_hr_value\":{},\"burn_fat_mins\":{},\"aerobic_mins\":{},\"limit_mins\":{},\"packet_count\":{},"
      "\"hr_item_count\":{},\"hr_data_interval_minute\":1,\"data_length\":{},\"isSave\":{},\"isDeviceSend\":{},{}}}",
      w.startMs, w.type, steps, w.seconds, w.seconds / 9, steps * 7 / 10, rng.between(110, 140),
      rng.between(150, 180), rng.between(0, 10), rng.between(0, 20), rng.between(0, 5), rates.size() / 10 + 1,
      rates.size(), rates.size() * 2, rng.percent(90) ? "true" : "false", w.tracked ? "true" : "false", hr);
}

std::vector<FixtureTable> storeTables(FixtureStore store) {
  std::vector<FixtureTable> t;
  t.push_back(dayRowTable(store, "HEALTH_SPORT",
                          {{"items_count", "INTEGER"}, {"TOTAL_STEP_COUNT", "INTEGER"}, {"TOTAL_CALORY", "INTEGER"},
                           {"TOTAL_DISTANCE", "INTEGER"}, {"TOTAL_ACTIVE_TIME", "INTEGER"}, {"START_TIME", "INTEGER"},
                           {"TIME_SPACE", "INTEGER"}},
                          [](const FixtureGeneration&, const AndroidDay& d) -> std::optional<VEQArray> {
                            int64_t steps = 0, calories = 0, distance = 0, active = 0;
                            for (const FixtureSportItem& i : d.plan.items) {
                              steps += i.steps, calories += i.calories, distance += i.distance;
                              active += i.activeTime;
                            }
                            // The firmware records a full day of intervals, worn or not.
                            return VEQArray{kItemsPerDay, steps, calories, distance, active,
                                            int64_t{d.plan.items.front().slot} * kMinutesPerItem, kMinutesPerItem};
                          }));
  t.push_back(dayTable(store, "HEALTH_SPORT_ITEM",
                       columns({{"DATE", "INTEGER"}, {"SPORT_DATA_ID", "INTEGER"}, {"serial_number", "INTEGER"},
                                {"MODE", "INTEGER"}, {"STEP_COUNT", "INTEGER"}, {"ACTIVE_TIME", "INTEGER"},
                                {"CALORY", "INTEGER"}, {"DISTANCE", "INTEGER"}}),
                       [](const FixtureGeneration&, const AndroidDay& d, const auto& emit) {
                         for (const FixtureSportItem& i : d.plan.items) {
                           emit({d.date, d.id, d.plan.unnumbered ? 0 : i.slot + 1, i.mode, i.steps, i.activeTime,
                                 i.calories, i.distance});
                         }
                       }));
  t.push_back(dayRowTable(store, "HEALTH_HEART_RATE",
                          {{"START_TIME", "INTEGER"}, {"SILENT_HEART", "INTEGER"},
                           {"BURN_FAT_THRESHOLD", "INTEGER"}, {"AEROBIC_THRESHOLD", "INTEGER"},
                           {"LIMIT_THRESHOLD", "INTEGER"}, {"BURN_FAT_MINS", "INTEGER"}, {"AEROBIC_MINS", "INTEGER"},
                           {"LIMIT_MINS", "INTEGER"}, {"USER_MAX_HR", "INTEGER"}},
                          [](const FixtureGeneration& g, const AndroidDay& d) -> std::optional<VEQArray> {
                            const HeartDay h = heartDay(g, d);
                            if (h.items.empty()) return std::nullopt;
                            return VEQArray{h.items.front().first, h.resting, h.burnFat, h.aerobic, h.limit,
                                            h.burnFatMins, h.aerobicMins, h.limitMins, h.maxHr};
                          }));
  t.push_back(dayTable(store, "HEALTH_HEART_RATE_ITEM",
                       columns({{"DATE", "INTEGER"}, {"RATE_DATA_ID", "INTEGER"}, {"OFFSET_MINUTE", "INTEGER"},
                                {"HEART_RAVE_VALUE", "INTEGER"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         for (auto [minute, rate] : heartDay(g, d).items) emit({d.date, d.id, minute, rate});
                       }));
  t.push_back(dayRowTable(store, "HEALTH_SLEEP",
                          {{"SLEEP_ENDED_TIME_H", "INTEGER"}, {"SLEEP_ENDED_TIME_M", "INTEGER"},
                           {"TOTAL_SLEEP_MINUTES", "INTEGER"}, {"LIGHT_SLEEP_COUNT", "INTEGER"},
                           {"DEEP_SLEEP_COUNT", "INTEGER"}, {"AWAKE_COUNT", "INTEGER"},
                           {"LIGHT_SLEEP_MINUTES", "INTEGER"}, {"DEEP_SLEEP_MINUTES", "INTEGER"}},
                          [](const FixtureGeneration& g, const AndroidDay& d) -> std::optional<VEQArray> {
                            const Night n = night(g, d);
                            const int64_t total = n.minutes(kAwake) + n.minutes(kLight) + n.minutes(kDeep);
                            return VEQArray{n.endHour, n.endMinute, total, n.count(kLight), n.count(kDeep),
                                            n.count(kAwake), n.minutes(kLight), n.minutes(kDeep)};
                          }));
  t.push_back(dayTable(store, "HEALTH_SLEEP_ITEM",
                       columns({{"DATE", "INTEGER"}, {"SLEEP_DATA_ID", "INTEGER"}, {"serial_number", "INTEGER"},
                                {"SLEEP_STATUS", "INTEGER"}, {"OFFSET_MINUTE", "INTEGER"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         int64_t serial = 0, offset = 0;
                         for (auto [state, minutes] : night(g, d).stretches) {
                           ++serial;
                           emit({d.date, d.id, d.plan.unnumbered ? 0 : serial, state, offset});
                           offset += minutes;
                         }
                       }));
  t.push_back(dayRowTable(store, "HEALTH_BLOOD_PRESSED",
                          {{"MAX_BP", "INTEGER"}, {"SLEEP_AVG_BP", "INTEGER"}, {"MINUTE_OFFSET", "INTEGER"}},
                          [](const FixtureGeneration& g, const AndroidDay& d) -> std::optional<VEQArray> {
                            const std::vector<Pressure> p = pressures(g, d);
                            if (p.empty()) return std::nullopt;
                            int64_t maxBp = 0, diastolic = 0;
                            for (const Pressure& m : p) maxBp = std::max(maxBp, m.systolic), diastolic += m.diastolic;
                            return VEQArray{maxBp, diastolic / static_cast<int64_t>(p.size()), p.front().minute};
                          }));
  t.push_back(dayTable(store, "HEALTH_BLOOD_PRESSED_ITEM",
                       columns({{"BLOOD_PRESSED_DATA_ITEM_ID", "INTEGER"}, {"DATE", "INTEGER"},
                                {"SYS_BLOOD", "INTEGER"}, {"DIAS_BLOOD", "INTEGER"}, {"OFFSET", "INTEGER"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         for (const Pressure& m : pressures(g, d))
                           emit({d.id, d.date, m.systolic, m.diastolic, m.minute});
                       }));
  t.push_back(dayTable(store, "HEALTH_GPS",
                       columns({{"smart_device_id", "TEXT"}, {"D_ID", "INTEGER"}, {"DATE", "INTEGER"},
                                {"DATA_INTERVAL", "INTEGER"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         const auto w = workout(g, d);
                         if (w && w->tracked) emit({d.ownKey, d.id, w->startMs, w->interval});
                       }));
  t.push_back(dayTable(store, "HEALTH_GPS_ITEM",
                       columns({{"smart_device_id", "TEXT"}, {"D_ID", "INTEGER"}, {"DATE", "INTEGER"},
                                {"LATITUDE", "REAL"}, {"LONGITUDE", "REAL"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         const auto w = workout(g, d);
                         if (!w || !w->tracked) return;
                         FixtureRng rng = dayRng(g, "android track", d);
                         // A walk from the device's home, in millionths of a degree.
                         int64_t lat = 31230000 + 10000 * d.device.index, lon = 121470000;
                         for (int64_t i = 0; i < w->points; ++i) {
                           lat += rng.between(-150, 150);
                           lon += rng.between(-150, 150);
                           emit({d.ownKey, d.id, w->startMs, lat / 1e6, lon / 1e6});
                         }
                       }));
  t.push_back(dayTable(store, "ACTIVITY_DATA",
                       columns({{"DATE", "INTEGER"}, {"D_ID", "INTEGER"}, {"ACTIVITY_DATA", "TEXT"}}),
                       [](const FixtureGeneration& g, const AndroidDay& d, const auto& emit) {
                         if (d.midnightMs == 0) {  // the unset clock's day: a record cut short
                           emit({d.date, d.id, "{\"date\":" + std::to_string(d.date) + ",\"type\":4,\"dura"});
                           return;
                         }
                         const auto w = workout(g, d);
                         // Workouts started on the phone left "DATE" unset.
                         if (w) emit({d.plan.dayIndex % 9 == 4 ? -1 : w->startMs, d.id, workoutJson(g, d, *w)});
                       }));
  t.push_back(generatedTable(
      {store}, "ADDWEIGHTDADA",
      columns({{"date", "INTEGER"}, {"weightValue", "REAL"}, {"lastWeightValue", "REAL"}, {"weightUnit", "INTEGER"}}),
      [store](FixtureGeneration& g, const auto& emit) {
        // The user's weighings, every third morning, in hundredths of a kg;
        // older app versions kept the previous weight in tenths.
        auto weighing = [&g](int day) {
          FixtureRng rng(g.seed, {FixtureRng::hashName("android weight"), static_cast<uint64_t>(day)});
          return std::pair{7200 + (day % 40) * 5 + rng.between(-30, 30), rng.between(6 * 60, 9 * 60)};
        };
        const StoreDays range = daysOf(store, g.days);
        for (int d = range.first + (3 - range.first % 3) % 3; d < range.end; d += 3) {
          const auto [weight, minute] = weighing(d);
          const double last = d >= 3 ? static_cast<double>(weighing(d - 3).first) : 0.0;
          emit({midnightMsOf(d) + minute * kMsPerMinute, weight / 100.0, d % 4 == 0 ? last / 10 : last / 100, 1});
        }
      }));
  return t;
}

}  // namespace

std::vector<FixtureTable> fixtureAndroidHealthTables() {
  std::vector<FixtureTable> t = storeTables(FixtureStore::Android);
  for (FixtureTable& table : storeTables(FixtureStore::AndroidCloud)) t.push_back(std::move(table));
  return t;
}

}  // namespace veq
