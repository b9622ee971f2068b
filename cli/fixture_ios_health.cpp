// fixture_ios_health.cpp — the health history of the generated legacy iOS
// store.
#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

namespace {

// Rows of health tables that carry no device key or no date.
std::vector<VEQDict> unplaceableRows() { return {{{"smart_device_id", ""}}, {{"date", 0}}}; }

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

  return t;
}

}  // namespace veq
