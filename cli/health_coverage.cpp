// health_coverage.cpp — days with health data, per device and kind.
#include "cli/health_coverage.h"

#include <fmt/format.h>

#include "collaborators/sdk_utility.h"
#include "collaborators/sql_identifier.h"

namespace veq {

const std::vector<HealthKind>& healthKinds() {
  static const std::vector<HealthKind> kinds = {
      {"sport", "health_sport"},   {"sleep", "health_sleep"},   {"heart_rate", "health_heart_rate"},
      {"blood_pressure", "health_blood_pressure"}, {"gps", "health_gps"}, {"weight", "health_weight"},
      {"activity", "health_activity"},
  };
  return kinds;
}

HealthCoverage healthCoverage(VEQFMDatabase& db) {
  HealthCoverage coverage;
  for (const HealthKind& kind : healthKinds()) {
    const bool byDevice = kind.table != "health_weight";
    auto rs = db.executeQuery(fmt::format("SELECT DISTINCT {} AS device, day_stamp FROM {} WHERE day_stamp IS NOT NULL",
                                          byDevice ? "mac_addr" : "''", sqlIdentifier(kind.table)));
    while (rs && rs->next()) {
      const VEQDateComponents c = VEQSDKUtility::dateComponentsWithDateStr(rs->stringForColumn("day_stamp"));
      coverage[rs->stringForColumn("device")][kind.name].insert(
          fmt::format("{:04}-{:02}-{:02}", c.year, c.month, c.day));
    }
  }
  return coverage;
}

}  // namespace veq
