// fixture_ios_health.cpp — the health history of the generated legacy iOS
// store.
//
// Day-keyed tables (sport, sleep, heart rate) hold the day as the integer
// YYYYMMDD; GPS tracks hold their start as the 14-digit text
// YYYYMMDDhhmmss; workouts and weighings hold their time, and blood pressure
// its day's start, as epoch seconds (of UTC wall-clock times). Tables whose
// rows follow a plan other than one per day or per fifteen-minute item are
// generated: the nights, heart-rate days, workouts, blood-pressure days and
// weighings of a device and day are plans (seeded by the seed, the device
// and the day alone), so that a day row and its items always agree. Every
// table ends with the rows its conversion skips.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

namespace {

constexpr int64_t kFirstDayStart = 1483228800;  // 2017-01-01T00:00:00Z
constexpr int64_t kSecondsPerDay = 86400;

// Rows of health tables that carry no device key or no date.
std::vector<VEQDict> unplaceableRows() { return {{{"smart_device_id", ""}}, {{"date", 0}}}; }

// The same for a generated table, whose odd rows stand as written: one row
// without a device key at `placeable`, one of the first device without a
// time, each with `values` besides.
std::vector<VEQDict> skippedRows(const std::string& timeColumn, const VEQValue& placeable, const VEQValue& missing,
                                 std::initializer_list<std::pair<std::string, VEQValue>> values = {}) {
  VEQDict noDevice{{"smart_device_id", ""}, {timeColumn, placeable}};
  VEQDict noTime{{"smart_device_id", "AA:BB:CC:DD:EE:01"}, {timeColumn, missing}};
  for (const auto& [column, value] : values) {
    noDevice.set(column, value);
    noTime.set(column, value);
  }
  return {noDevice, noTime};
}

// ---- Generated tables, written row by row by column name ----

using NamedEmit = std::function<void(const VEQDict& row)>;
// Calls `emit` for every row; `worn` walks the worn days of every device.
using NamedRows = std::function<void(FixtureGeneration& g, const NamedEmit& emit)>;

// A generated table whose rows are given by column name; a column a row does
// not name is NULL. `oddRows` follow the generated rows as they stand.
FixtureTable namedTable(std::string name, std::vector<FixtureColumn> columns, NamedRows rows,
                        std::vector<VEQDict> oddRows) {
  std::vector<std::string> names;
  for (const FixtureColumn& c : columns) names.push_back(c.name);
  return generatedTable(kIos, std::move(name), std::move(columns),
                        [names, rows = std::move(rows), oddRows = std::move(oddRows)](
                            FixtureGeneration& g, const std::function<void(VEQArray)>& emit) {
                          const NamedEmit byName = [&](const VEQDict& row) {
                            VEQArray values;
                            values.reserve(names.size());
                            for (const std::string& n : names) values.push_back(row[n]);
                            emit(std::move(values));
                          };
                          rows(g, byName);
                          for (const VEQDict& odd : oddRows) byName(odd);
                        });
}

// Calls fn(device, day plan) for every day on which a device was worn.
template <typename Fn>
void forEachWornDay(const FixtureGeneration& g, Fn fn) {
  for (const FixtureDevice& device : g.devices) {
    for (int day = 0; day < g.days; ++day) {
      const FixtureDayPlan plan = fixtureDayPlan(g.seed, device, day);
      if (plan.recorded) fn(device, plan);
    }
  }
}

FixtureRng planRng(uint64_t seed, std::string_view what, const FixtureDevice& device, int day) {
  return FixtureRng(seed, {FixtureRng::hashName(what), static_cast<uint64_t>(device.index),
                           static_cast<uint64_t>(day)});
}

int64_t dayStart(const FixtureDayPlan& day) { return kFirstDayStart + int64_t{day.dayIndex} * kSecondsPerDay; }

// "YYYYMMDDhhmmss" of a moment `secondOfDay` seconds into `day`.
std::string civilText(const FixtureDayPlan& day, int64_t secondOfDay) {
  return fmt::format("{}{:02}{:02}{:02}", day.ymd, secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60);
}

// ---- Sleep ----

enum SleepState { kLight = 1, kDeep = 2, kAwake = 3 };

struct Stretch {
  int state;
  int64_t minutes;
};

// The night that ended on a worn day: it ends between 05:00 and 09:00 after
// four to nine hours, so most nights began the evening before and some after
// midnight.
struct Night {
  int64_t endMinute = 0;  // minute of the day
  std::vector<Stretch> stretches;
  int64_t total() const {
    int64_t sum = 0;
    for (const Stretch& s : stretches) sum += s.minutes;
    return sum;
  }
  int64_t minutesIn(int state) const {
    int64_t sum = 0;
    for (const Stretch& s : stretches) sum += s.state == state ? s.minutes : 0;
    return sum;
  }
  int64_t countOf(int state) const {
    return std::count_if(stretches.begin(), stretches.end(), [state](const Stretch& s) { return s.state == state; });
  }
};

Night nightPlan(uint64_t seed, const FixtureDevice& device, int day) {
  FixtureRng rng = planRng(seed, "night", device, day);
  Night night;
  night.endMinute = rng.between(300, 540);
  const int64_t length = rng.between(240, 540);
  for (int64_t slept = 0; slept < length;) {
    const int roll = static_cast<int>(rng.between(0, 9));
    const int state = roll < 5 ? kLight : roll < 8 ? kDeep : kAwake;
    const int64_t minutes = std::min(length - slept, rng.between(state == kAwake ? 2 : 10, state == kAwake ? 15 : 60));
    night.stretches.push_back({state, minutes});
    slept += minutes;
  }
  return night;
}

std::vector<FixtureTable> sleepTables() {
  std::vector<FixtureTable> t;
  t.push_back(namedTable(
      "t_sleep_head",
      {text("smart_device_id", {}), integer("date", {}), integer("end_time_hour", {}), integer("end_time_minute", {}),
       integer("total_minute", {}), integer("light_sleep_count", {}), integer("deep_sleep_count", {}),
       integer("wake_count", {}), integer("wake_minute", {}), integer("ligth_sleep_minute", {}),
       integer("deep_sleep_minute", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const Night n = nightPlan(g.seed, device, day.dayIndex);
          emit({{"smart_device_id", device.mac}, {"date", day.ymd}, {"end_time_hour", n.endMinute / 60},
                {"end_time_minute", n.endMinute % 60}, {"total_minute", n.total()},
                {"light_sleep_count", n.countOf(kLight)}, {"deep_sleep_count", n.countOf(kDeep)},
                {"wake_count", n.countOf(kAwake)}, {"wake_minute", n.minutesIn(kAwake)},
                {"ligth_sleep_minute", n.minutesIn(kLight)}, {"deep_sleep_minute", n.minutesIn(kDeep)}});
        });
      },
      skippedRows("date", 20170101, 0, {{"end_time_hour", 7}, {"total_minute", 400}})));
  t.push_back(namedTable(
      "t_sleep_item",
      {text("smart_device_id", {}), integer("date", {}), integer("serial_number", {}), integer("sleep_status", {}),
       integer("durations", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const Night n = nightPlan(g.seed, device, day.dayIndex);
          for (size_t i = 0; i < n.stretches.size(); ++i) {
            emit({{"smart_device_id", device.mac}, {"date", day.ymd},
                  {"serial_number", day.unnumbered ? 0 : static_cast<int64_t>(i) + 1},
                  {"sleep_status", n.stretches[i].state}, {"durations", n.stretches[i].minutes}});
          }
        });
      },
      skippedRows("date", 20170101, 0, {{"sleep_status", kLight}, {"durations", 30}})));
  return t;
}

// ---- Heart rate ----

constexpr int64_t kHrEveryMinutes = 5;

struct HeartRateDay {
  int64_t firstMinute = 0;
  std::vector<int64_t> rates;  // one every kHrEveryMinutes from firstMinute
  int64_t resting = 0, maxRate = 0;
};

HeartRateDay heartRatePlan(uint64_t seed, const FixtureDevice& device, int day) {
  FixtureRng rng = planRng(seed, "heart rate", device, day);
  HeartRateDay plan;
  plan.firstMinute = rng.between(0, 12) * kHrEveryMinutes;
  plan.resting = rng.between(50, 70);
  plan.maxRate = 220 - rng.between(20, 60);
  int64_t rate = plan.resting + 10;
  const int64_t count = rng.between(100, (1440 - plan.firstMinute) / kHrEveryMinutes);
  for (int64_t i = 0; i < count; ++i) {
    rate = std::clamp<int64_t>(rate + rng.between(-8, 8), plan.resting, plan.maxRate);
    plan.rates.push_back(rate);
  }
  return plan;
}

std::vector<FixtureTable> heartRateTables() {
  std::vector<FixtureTable> t;
  t.push_back(namedTable(
      "t_heart_rate_data",
      {text("smart_device_id", {}), integer("date", {}), integer("minute_offset", {}),
       integer("silent_heart_rate", {}), integer("burn_fat_threshold", {}), integer("aerobic_threshold", {}),
       integer("limit_threshold", {}), integer("burn_fat_mins", {}), integer("aerobic_mins", {}),
       integer("limit_mins", {}), integer("user_max_hr", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const HeartRateDay p = heartRatePlan(g.seed, device, day.dayIndex);
          // Zones start at 60, 70 and 85 % of the maximum; their minutes are
          // those of the measurements that reach them.
          const int64_t burnFat = p.maxRate * 60 / 100, aerobic = p.maxRate * 70 / 100,
                        limit = p.maxRate * 85 / 100;
          const auto minutesFrom = [&p](int64_t lo, int64_t hi) {
            return kHrEveryMinutes *
                   std::count_if(p.rates.begin(), p.rates.end(), [=](int64_t r) { return r >= lo && r < hi; });
          };
          emit({{"smart_device_id", device.mac}, {"date", day.ymd}, {"minute_offset", p.firstMinute},
                {"silent_heart_rate", p.resting}, {"burn_fat_threshold", burnFat}, {"aerobic_threshold", aerobic},
                {"limit_threshold", limit}, {"burn_fat_mins", minutesFrom(burnFat, aerobic)},
                {"aerobic_mins", minutesFrom(aerobic, limit)}, {"limit_mins", minutesFrom(limit, 1000)},
                {"user_max_hr", p.maxRate}});
        });
      },
      skippedRows("date", 20170101, 0)));
  t.push_back(namedTable(
      "t_heart_rate_item",
      {text("smart_device_id", {}), integer("date", {}), integer("serial_number", {}), integer("offset", {}),
       integer("data", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const HeartRateDay p = heartRatePlan(g.seed, device, day.dayIndex);
          for (size_t i = 0; i < p.rates.size(); ++i) {
            emit({{"smart_device_id", device.mac}, {"date", day.ymd},
                  {"serial_number", day.unnumbered ? 0 : static_cast<int64_t>(i) + 1},
                  {"offset", i == 0 ? 0 : kHrEveryMinutes}, {"data", p.rates[i]}});
          }
        });
      },
      skippedRows("date", 20170101, 0, {{"data", 70}})));
  return t;
}

// ---- Workouts and their GPS tracks ----

enum WorkoutType { kWalk = 1, kRun = 2, kBike = 3, kSwim = 5, kGym = 9 };

struct Workout {
  int64_t startSecond = 0;  // second of the day
  int64_t seconds = 0;
  int type = kWalk;
  std::vector<int64_t> samples;  // heart rate once a minute
  bool malformedSamples = false;
  bool startedOnDevice = false, olderStartFlag = false;
  bool tracked() const { return type == kWalk || type == kRun || type == kBike; }
};

// None to two workouts, one in the morning, one in the evening.
std::vector<Workout> workoutPlan(uint64_t seed, const FixtureDevice& device, int day) {
  FixtureRng rng = planRng(seed, "workouts", device, day);
  std::vector<Workout> workouts;
  const int count = static_cast<int>(rng.between(0, 2));
  for (int i = 0; i < count; ++i) {
    Workout w;
    w.startSecond = (i == 0 ? rng.between(6 * 60, 10 * 60) : rng.between(17 * 60, 20 * 60)) * 60 + rng.between(0, 59);
    w.seconds = rng.between(10, 90) * 60;
    constexpr int kTypes[] = {kWalk, kRun, kBike, kSwim, kGym};
    w.type = kTypes[rng.between(0, 4)];
    int64_t rate = rng.between(80, 100);
    for (int64_t m = 0; m < w.seconds / 60; ++m) {
      rate = std::clamp<int64_t>(rate + rng.between(-4, 6), 80, 185);
      w.samples.push_back(rate);
    }
    w.malformedSamples = rng.percent(5);
    w.startedOnDevice = rng.percent(70);
    w.olderStartFlag = !w.startedOnDevice && rng.percent(30);
    workouts.push_back(std::move(w));
  }
  return workouts;
}

std::string samplesJson(const Workout& w) {
  if (w.malformedSamples) return "{\"hr\": [";
  return fmt::format("{{\"hr\": {{\"0\": [{}]}}}}", fmt::join(w.samples, ", "));
}

FixtureTable activityTable() {
  return namedTable(
      "t_active_data",
      {text("smart_device_id", {}), text("time_string", {}), integer("data_length", {}),
       integer("hr_data_interval_minute", {}), integer("hr_item_count", {}), integer("packet_count", {}),
       integer("type", {}), integer("step", {}), integer("durations", {}), integer("calories", {}),
       integer("distance", {}), integer("avg_hr_value", {}), integer("max_hr_value", {}),
       integer("burn_fat_mins", {}), integer("aerobic_mins", {}), integer("limit_mins", {}), integer("is_save", {}),
       integer("is_ble_start", {}), integer("is_the_ble_start", {}), text("hr_value", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          for (const Workout& w : workoutPlan(g.seed, device, day.dayIndex)) {
            int64_t sum = 0, maxRate = 0, burnFat = 0, aerobic = 0, limit = 0;
            for (int64_t r : w.samples) {
              sum += r;
              maxRate = std::max(maxRate, r);
              burnFat += r >= 110 && r < 130;
              aerobic += r >= 130 && r < 160;
              limit += r >= 160;
            }
            const int64_t minutes = w.seconds / 60;
            const int64_t steps = w.type == kRun ? minutes * 160 : w.type == kWalk ? minutes * 100 : 0;
            const int64_t samples = static_cast<int64_t>(w.samples.size());
            emit({{"smart_device_id", device.mac}, {"time_string", std::to_string(dayStart(day) + w.startSecond)},
                  {"data_length", samples * 2 + 20}, {"hr_data_interval_minute", 1}, {"hr_item_count", samples},
                  {"packet_count", (samples + 9) / 10}, {"type", w.type}, {"step", steps},
                  {"durations", w.seconds}, {"calories", minutes * (w.type == kRun ? 11 : 6)},
                  {"distance", w.type == kBike ? minutes * 350 : steps * 7 / 10},
                  {"avg_hr_value", samples ? sum / samples : 0}, {"max_hr_value", maxRate},
                  {"burn_fat_mins", burnFat}, {"aerobic_mins", aerobic}, {"limit_mins", limit}, {"is_save", 1},
                  {"is_ble_start", w.startedOnDevice}, {"is_the_ble_start", w.olderStartFlag},
                  {"hr_value", samplesJson(w)}});
          }
        });
      },
      // No device, no time, and a recording that claims more than a day.
      [] {
        std::vector<VEQDict> rows = skippedRows("time_string", "1483264800", "", {{"durations", 1800}});
        rows.push_back({{"smart_device_id", "AA:BB:CC:DD:EE:01"}, {"time_string", "1483268400"}, {"durations", 90000},
                        {"hr_value", "{\"hr\": {\"0\": [90]}}"}});
        return rows;
      }());
}

// One point every `interval` seconds of a tracked workout, wandering from
// where the device's owner lives.
FixtureTable gpsTable() {
  return namedTable(
      "t_gps_data",
      {text("smart_device_id", {}), text("time", {}), text("latitudeStr", {}), text("longitudeStr", {}),
       integer("interval", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          for (const Workout& w : workoutPlan(g.seed, device, day.dayIndex)) {
            if (!w.tracked()) continue;
            const int64_t interval = w.type == kBike ? 10 : 5;
            const int64_t points = std::min<int64_t>(w.seconds / interval, g.rng.between(150, 400));
            double lat = 22.5 + device.index * 0.01, lon = 113.9 + device.index * 0.01;
            const std::string start = civilText(day, w.startSecond);
            for (int64_t p = 0; p < points; ++p) {
              lat += static_cast<double>(g.rng.between(-20, 20)) / 100000;
              lon += static_cast<double>(g.rng.between(-20, 20)) / 100000;
              emit({{"smart_device_id", device.mac}, {"time", start}, {"latitudeStr", fmt::format("{:f}", lat)},
                    {"longitudeStr", fmt::format("{:f}", lon)}, {"interval", interval}});
            }
          }
        });
      },
      skippedRows("time", "20170101073000", "0", {{"latitudeStr", "22.5"}, {"longitudeStr", "113.9"}}));
}

// ---- Blood pressure and weight ----

struct PressureDay {
  bool measured = false;
  std::vector<std::pair<int64_t, int64_t>> readings;  // (systolic, diastolic)
  std::vector<int64_t> minutes;                      // minute of the day of each reading
};

PressureDay pressurePlan(uint64_t seed, const FixtureDevice& device, int day) {
  FixtureRng rng = planRng(seed, "blood pressure", device, day);
  PressureDay plan;
  plan.measured = rng.percent(60);
  if (!plan.measured) return plan;
  int64_t minute = rng.between(6 * 60, 9 * 60);
  for (int64_t n = rng.between(2, 8); n > 0 && minute < 1440; --n) {
    plan.readings.push_back({rng.between(105, 145), rng.between(65, 95)});
    plan.minutes.push_back(minute);
    minute += rng.between(60, 180);
  }
  return plan;
}

std::vector<FixtureTable> bloodPressureTables() {
  std::vector<FixtureTable> t;
  t.push_back(namedTable(
      "t_blood_presure",
      {text("smart_device_id", {}), integer("date", {}), integer("item_count", {}), integer("sys_blood", {}),
       integer("dias_blood", {}), integer("minute_offset", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const PressureDay p = pressurePlan(g.seed, device, day.dayIndex);
          if (!p.measured) return;
          int64_t sys = 0, dias = 0;
          for (const auto& [s, d] : p.readings) {
            sys += s;
            dias += d;
          }
          const int64_t n = static_cast<int64_t>(p.readings.size());
          // Some firmware counted the day's readings wrongly.
          emit({{"smart_device_id", device.mac}, {"date", dayStart(day)},
                {"item_count", g.rng.percent(10) ? n + 1 : n}, {"sys_blood", sys / n}, {"dias_blood", dias / n},
                {"minute_offset", p.minutes.front()}});
        });
      },
      skippedRows("date", kFirstDayStart, 0, {{"sys_blood", 120}, {"dias_blood", 80}})));
  t.push_back(namedTable(
      "t_blood_item",
      {text("smart_device_id", {}), text("timeString", {}), integer("sys_blood", {}), integer("dias_blood", {}),
       integer("offset", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          const PressureDay p = pressurePlan(g.seed, device, day.dayIndex);
          for (size_t i = 0; i < p.readings.size(); ++i) {
            emit({{"smart_device_id", device.mac}, {"timeString", std::to_string(dayStart(day))},
                  {"sys_blood", p.readings[i].first}, {"dias_blood", p.readings[i].second},
                  {"offset", p.minutes[i]}});
          }
        });
      },
      skippedRows("timeString", std::to_string(kFirstDayStart), "0", {{"sys_blood", 120}})));
  return t;
}

// Weighings on about a third of the days, each device's scale on its own;
// on the first day every device weighs, so one day has weighings from
// several devices.
FixtureTable weightTable() {
  return namedTable(
      "t_and_weight_data",
      {text("smart_device_id", {}), text("time_string", {}), FixtureColumn{"weight_value_cn", "REAL", {}},
       integer("isHandsRecord", {})},
      [](FixtureGeneration& g, const NamedEmit& emit) {
        forEachWornDay(g, [&](const FixtureDevice& device, const FixtureDayPlan& day) {
          FixtureRng rng = planRng(g.seed, "weight", device, day.dayIndex);
          if (day.dayIndex != 0 && !rng.percent(33)) return;
          const double kilograms = static_cast<double>(600 + device.index * 80 + rng.between(0, 40)) / 10;
          emit({{"smart_device_id", device.mac},
                {"time_string", std::to_string(dayStart(day) + rng.between(6 * 3600, 22 * 3600))},
                {"weight_value_cn", kilograms}, {"isHandsRecord", rng.percent(20)}});
        });
      },
      skippedRows("time_string", std::to_string(kFirstDayStart + 30000), "0", {{"weight_value_cn", 70.0}}));
}

}  // namespace

std::vector<FixtureTable> fixtureIosHealthTables() {
  std::vector<FixtureTable> t;
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
  for (std::vector<FixtureTable> group : {sleepTables(), heartRateTables(), bloodPressureTables()}) {
    for (FixtureTable& table : group) t.push_back(std::move(table));
  }
  t.push_back(activityTable());
  t.push_back(gpsTable());
  t.push_back(weightTable());
  return t;
}

}  // namespace veq
