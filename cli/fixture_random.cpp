// fixture_random.cpp — the fixture generator's seeding and distributions.
#include "cli/fixture_random.h"

namespace veq {

namespace {

// SplitMix64 finaliser: spreads every input bit over the whole word, so
// neighbouring coordinates (day 7, day 8) give unrelated seeds.
uint64_t mix(uint64_t x) {
  x += 0x9e3779b97f4a7c15ULL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

}  // namespace

FixtureRng::FixtureRng(uint64_t seed, std::initializer_list<uint64_t> coordinates) {
  uint64_t state = mix(seed);
  for (uint64_t c : coordinates) state = mix(state ^ c);
  engine_.seed(state);
}

int64_t FixtureRng::between(int64_t lo, int64_t hi) {
  const uint64_t span = static_cast<uint64_t>(hi) - static_cast<uint64_t>(lo) + 1;
  if (span == 0) return static_cast<int64_t>(engine_());  // the full 64-bit range
  // Reject the low draws that would make some residues more likely than
  // others: 2^64 mod span of them.
  const uint64_t threshold = (0 - span) % span;
  uint64_t x;
  do {
    x = engine_();
  } while (x < threshold);
  return static_cast<int64_t>(static_cast<uint64_t>(lo) + x % span);
}

uint64_t FixtureRng::hashName(std::string_view name) {
  uint64_t h = 0xcbf29ce484222325ULL;
  for (unsigned char c : name) {
    h ^= c;
    h *= 0x100000001b3ULL;
  }
  return h;
}

}  // namespace veq
