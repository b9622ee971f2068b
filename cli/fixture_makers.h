// fixture_makers.h — the small vocabulary the fixture tables are written in:
// value makers (what one column of one row holds) and table builders.
//
// Every maker draws randomness only from the row context's generator, so a
// table's rows depend on the seed, the table and the row alone.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/fixture_tables.h"

namespace veq {
namespace fixture {

using Ctx = FixtureRowContext;
using Stores = std::vector<FixtureStore>;

inline const Stores kIos = {FixtureStore::Ios};
inline const Stores kBothAndroid = {FixtureStore::Android, FixtureStore::AndroidCloud};

inline constexpr int kItemsPerDay = 96;  // fifteen-minute intervals
inline constexpr int kMinutesPerItem = 15;

// ---- Value makers ---------------------------------------------------------

inline FixtureValueMaker constant(VEQValue v) {
  return [v = std::move(v)](Ctx&) { return v; };
}
inline FixtureValueMaker between(int64_t lo, int64_t hi) {
  return [=](Ctx& c) { return VEQValue(c.rng.between(lo, hi)); };
}
inline FixtureValueMaker flag() { return between(0, 1); }
// A multiple of `step` in [lo, hi].
inline FixtureValueMaker stepped(int64_t lo, int64_t hi, int64_t step) {
  return [=](Ctx& c) { return VEQValue(c.rng.between(lo / step, hi / step) * step); };
}
inline FixtureValueMaker deviceMac() {
  return [](Ctx& c) { return VEQValue(c.device.mac); };
}
inline FixtureValueMaker userId() {
  return [](Ctx& c) { return VEQValue(c.device.userId); };
}
inline FixtureValueMaker dayDate() {
  return [](Ctx& c) { return VEQValue(c.day->ymd); };
}
inline FixtureValueMaker dayFirstMinute() {
  return [](Ctx& c) {
    return VEQValue(c.day->items.empty() ? 0 : int64_t{c.day->items.front().slot} * kMinutesPerItem);
  };
}
inline FixtureValueMaker daySum(int64_t FixtureSportItem::*field) {
  return [field](Ctx& c) {
    int64_t sum = 0;
    for (const FixtureSportItem& item : c.day->items) sum += item.*field;
    return VEQValue(sum);
  };
}
inline FixtureValueMaker itemValue(int64_t FixtureSportItem::*field) {
  return [field](Ctx& c) { return VEQValue(c.item->*field); };
}
// The item's place in its day counted from 1, or 0 on days whose items were
// stored without numbers.
inline FixtureValueMaker itemSerial() {
  return [](Ctx& c) { return VEQValue(c.day->unnumbered ? 0 : c.item->slot + 1); };
}

// One of `values`, each equally likely.
inline FixtureValueMaker oneOf(std::vector<int64_t> values) {
  return [values = std::move(values)](Ctx& c) {
    return VEQValue(values[static_cast<size_t>(c.rng.between(0, static_cast<int64_t>(values.size()) - 1))]);
  };
}

inline FixtureColumn text(std::string name, FixtureValueMaker value) {
  return {std::move(name), "TEXT", std::move(value)};
}
inline FixtureColumn integer(std::string name, FixtureValueMaker value) {
  return {std::move(name), "INTEGER", std::move(value)};
}

// A table whose rows `generate` emits.
inline FixtureTable generatedTable(Stores stores, std::string name, std::vector<FixtureColumn> columns,
                                   FixtureRowGenerator generate) {
  FixtureTable t;
  t.stores = std::move(stores);
  t.name = std::move(name);
  t.rowsPer = FixtureRowsPer::Generated;
  t.columns = std::move(columns);
  t.generate = std::move(generate);
  return t;
}

inline FixtureTable table(Stores stores, std::string name, FixtureRowsPer rowsPer, std::vector<FixtureColumn> columns,
                   std::vector<VEQDict> oddRows = {}, int deviceLimit = 0) {
  FixtureTable t;
  t.stores = std::move(stores);
  t.name = std::move(name);
  t.rowsPer = rowsPer;
  t.columns = std::move(columns);
  t.oddRows = std::move(oddRows);
  t.deviceLimit = deviceLimit;
  return t;
}

// The "D_ID" under which an Android store knows a device: each store
// numbered the devices it met itself, so the cloud store's ids differ from
// the local store's and only its own registry resolves them.
inline int64_t androidIdIn(FixtureStore store, const FixtureDevice& device) {
  return store == FixtureStore::AndroidCloud ? device.androidId + 100 : device.androidId;
}
inline FixtureValueMaker androidIdOf(FixtureStore store) {
  return [store](Ctx& c) { return VEQValue(androidIdIn(store, c.device)); };
}

}  // namespace fixture
}  // namespace veq
