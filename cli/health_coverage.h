// health_coverage.h — which days of which device hold which health data in a
// new database.
//
// Read from the day (head) records of the new health tables, by their
// "day_stamp", each day written as YYYY-MM-DD in the configured time zone.
// Weight records belong to no device; they are listed under the device "".
// Used by `inspect` (first day, last day, number of days) and by the HTML
// report's calendar strips.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"

namespace veq {

struct HealthKind {
  std::string name;   // "sport", "sleep", "heart_rate", "blood_pressure", "gps", "weight", "activity"
  std::string table;  // its new day table
};

const std::vector<HealthKind>& healthKinds();

// device → kind name → days.
using HealthCoverage = std::map<std::string, std::map<std::string, std::set<std::string>>>;

HealthCoverage healthCoverage(VEQFMDatabase& db);

}  // namespace veq
