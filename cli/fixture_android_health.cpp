// fixture_android_health.cpp — the health history of the generated legacy
// Android stores.
#include "cli/fixture_makers.h"

namespace veq {

using namespace fixture;

std::vector<FixtureTable> fixtureAndroidHealthTables() { return {}; }

}  // namespace veq
