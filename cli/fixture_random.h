// fixture_random.h — reproducible random numbers for the fixture generator.
//
// The engine is std::mt19937_64, whose output the C++ standard fixes bit for
// bit; the distributions are written here because those of the standard
// library differ between implementations. A generator is seeded by mixing the
// run's seed with coordinates (a table name, a device, a day), so each table
// and each device-day draws from its own stream: adding a table, or changing
// the number of rows of one, leaves the values of every other table as they
// were.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string_view>

namespace veq {

class FixtureRng {
 public:
  explicit FixtureRng(uint64_t seed) : engine_(seed) {}
  // Seeded from the run's seed and any number of coordinates.
  FixtureRng(uint64_t seed, std::initializer_list<uint64_t> coordinates);

  // Uniform integer in [lo, hi]; requires lo <= hi.
  int64_t between(int64_t lo, int64_t hi);
  // True with the given chance in percent (0..100).
  bool percent(int chance) { return between(0, 99) < chance; }

  // A stable 64-bit hash of a name (FNV-1a), for use as a coordinate.
  static uint64_t hashName(std::string_view name);

 private:
  std::mt19937_64 engine_;
};

}  // namespace veq
