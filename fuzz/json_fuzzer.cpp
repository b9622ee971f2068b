// json_fuzzer.cpp — JSON texts of the activity column and the defaults file.
//
// The first byte picks what the rest of the input is:
//   0  a JSON text: parsed, and a parsed collection written and parsed
//      again must give the same value;
//   1  the "ACTIVITY_DATA" text of an Android activity row (date and device
//      valid) converted by the health driver;
//   2  a defaults file: loaded, saved and loaded again must give the same
//      store, and the legacy iOS device-info row then reads it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "collaborators/json.h"
#include "collaborators/user_defaults.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/legacy_world.h"

namespace {

using namespace veq;
using namespace veq::fuzz;

void check(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "json_fuzzer: %s\n", what);
  std::abort();
}

const LegacyRoute& routeOf(const std::string& table) {
  for (const LegacyRoute& r : LegacyWorld::get().routes()) {
    if (r.table->name == table) return r;
  }
  std::abort();
}

void roundTrip(const std::string& text) {
  const VEQValue parsed = stringToObject(text);
  if (parsed.isNull()) return;
  const std::optional<std::string> written = objectToJsonString(parsed);
  check(written.has_value(), "a parsed collection was not written");
  check(stringToObject(*written) == parsed, "JSON written and read again differs");
}

void activity(const std::string& text) {
  const LegacyRoute& route = routeOf("ACTIVITY_DATA");
  LegacyRow row;
  for (const FixtureColumn& c : route.table->columns) {
    LegacyCell& cell = row.emplace_back();
    if (c.name == "DATE") cell.value = int64_t{1699990000000};
    else if (c.name == "D_ID") cell.value = int64_t{1};
    else cell.value = text;
  }
  LegacyWorld::get().run(route, {row});
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void defaultsFile(const std::string& text) {
  static const std::string dir = [] {
    char pattern[] = "/tmp/veq-fuzz-defaults-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "no scratch directory");
    static std::string made = pattern;
    std::atexit([] { std::filesystem::remove_all(made); });
    return made;
  }();
  const std::string path = dir + "/defaults.json", copy = dir + "/copy.json";
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  VEQUserDefaults& defaults = VEQUserDefaults::standardUserDefaults();
  defaults.clear();
  std::string error;
  if (defaults.loadFromFile(path, &error)) {
    check(defaults.saveToFile(copy, &error), "a loaded store was not saved");
    const std::string first = readFile(copy);
    check(defaults.loadFromFile(copy, &error), "a saved store does not load");
    check(defaults.saveToFile(copy, &error), "a reloaded store was not saved");
    check(readFile(copy) == first, "saving a reloaded store changed it");
    // The device-info migration hands the binding over from the defaults.
    const LegacyRoute& route = routeOf("t_smart_device");
    LegacyRow row;
    for (size_t c = 0; c < route.table->columns.size(); ++c) row.push_back({fuzzDeviceKeys()[c % 2], false});
    LegacyWorld::get().run(route, {row});
  }
  defaults.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  LegacyWorld::get();
  FuzzInput in(data, size);
  const uint8_t mode = in.byte() % 3;
  const std::string text = in.rest();
  switch (mode) {
    case 0: roundTrip(text); break;
    case 1: roundTrip(text); activity(text); break;
    default: defaultsFile(text); break;
  }
  return 0;
}
