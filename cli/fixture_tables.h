// fixture_tables.h — what the generated legacy stores contain, as data.
//
// Each FixtureTable names the stores it belongs to, its columns (name,
// declared type, and how a value is made) and what one row stands for: a
// device, a day of a device, or one fifteen-minute item of such a day. The
// generator (fixtures.h) walks the devices and days and asks every column for
// its value, so a new legacy table is one more entry in its group. A table
// whose rows follow another pattern (stretches of a night, points of a track)
// is FixtureRowsPer::Generated: its `generate` function emits whole rows.
//
// The groups live in files of their own (fixture_<group>.cpp), written in
// the vocabulary of fixture_makers.h; fixtureTables() joins them in the
// order below.
//
// Rules the entries follow:
//   * Value makers draw randomness only from the row context's generator,
//     which belongs to the table; what several tables must agree on (the
//     items of a day, their totals, the day's date) comes from the day's plan,
//     which depends on the seed, the device and the day alone.
//   * oddRows are appended after the regular rows: each is a regular row of
//     the first device's first day with some columns replaced — rows that a
//     migration has to skip (no device key, no date).
//   * Legacy forms: iOS "date" columns hold the day as the integer YYYYMMDD;
//     device keys are MAC address texts with colons.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/fixture_random.h"
#include "collaborators/value.h"

namespace veq {

enum class FixtureStore { Ios, Android, AndroidCloud };

// File name of a store inside the fixture directory ("ios.sqlite", ...).
std::string fixtureStoreFileName(FixtureStore store);

struct FixtureDevice {
  int index = 0;          // 0-based
  std::string mac;        // "AA:BB:CC:DD:EE:01"
  std::string userId;     // legacy iOS user id, a text of digits
  int64_t androidId = 0;  // "D_ID" in the Android stores
};

// One fifteen-minute interval of a day.
struct FixtureSportItem {
  int slot = 0;  // 0..95, the interval's place in the day
  int64_t mode = 0, steps = 0, activeTime = 0, calories = 0, distance = 0;
};

// What one device recorded on one day.
struct FixtureDayPlan {
  int dayIndex = 0;
  int64_t ymd = 0;          // YYYYMMDD
  bool recorded = false;    // false: the device was not worn that day
  bool unnumbered = false;  // the day's items carry serial number 0
  std::vector<FixtureSportItem> items;
};

// The plan of `device` on day `dayIndex` (day 0 is the first fixture day).
FixtureDayPlan fixtureDayPlan(uint64_t seed, const FixtureDevice& device, int dayIndex);

struct FixtureRowContext {
  FixtureRng& rng;                     // the table's stream
  const FixtureDevice& device;
  const FixtureDayPlan* day = nullptr;  // null for rows per device
  const FixtureSportItem* item = nullptr;
};

using FixtureValueMaker = std::function<VEQValue(FixtureRowContext&)>;

struct FixtureColumn {
  std::string name;
  std::string type;  // declared SQL type: "TEXT", "INTEGER", "REAL"
  FixtureValueMaker value;
};

enum class FixtureRowsPer { Device, Day, Item, Generated };

// What a Generated table's rows may depend on.
struct FixtureGeneration {
  uint64_t seed = 1;
  int days = 0;  // fixture days, day 0 being 1 January 2017
  const std::vector<FixtureDevice>& devices;
  FixtureRng& rng;  // the table's stream
};

// Emits every row of a Generated table, each a list of values in column
// order.
using FixtureRowGenerator = std::function<void(FixtureGeneration&, const std::function<void(VEQArray)>& emit)>;

struct FixtureTable {
  std::vector<FixtureStore> stores;
  std::string name;
  FixtureRowsPer rowsPer = FixtureRowsPer::Device;
  std::vector<FixtureColumn> columns;
  std::vector<VEQDict> oddRows;  // column → replacement value
  int deviceLimit = 0;           // rows for the first N devices only; 0: all
  FixtureRowGenerator generate;  // Generated tables only
};

// All tables, group by group in this order.
const std::vector<FixtureTable>& fixtureTables();

// The groups (each in fixture_<group>.cpp).
std::vector<FixtureTable> fixtureRegistryTables();       // device registries of every store
std::vector<FixtureTable> fixtureSettingsTables();       // legacy iOS settings and user
std::vector<FixtureTable> fixtureCapabilityTables();     // legacy iOS function tables
std::vector<FixtureTable> fixtureIosHealthTables();      // legacy iOS health history
std::vector<FixtureTable> fixtureAndroidHealthTables();  // both Android stores' health history

}  // namespace veq
