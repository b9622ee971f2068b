// fixture_settings.cpp — the legacy iOS settings tables and the user of the
// generated iOS store.
#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

std::vector<FixtureTable> fixtureSettingsTables() {
  std::vector<FixtureTable> t;
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

  return t;
}

}  // namespace veq
