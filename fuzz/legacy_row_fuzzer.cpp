// legacy_row_fuzzer.cpp — legacy rows of any values through every route.
//
// Input: a route byte (index into LegacyWorld::routes()), a row count (1-3),
// then one value per column per row (FuzzInput::value). The rows go into the
// route's legacy table and its driver converts them against the new
// database; sanitizers and the world's own checks catch what goes wrong.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_input.h"
#include "fuzz/legacy_world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace veq::fuzz;
  LegacyWorld& world = LegacyWorld::get();
  FuzzInput in(data, size);
  const LegacyRoute& route = world.routes()[in.byte() % world.routes().size()];
  const int rowCount = 1 + in.byte() % 3;
  std::vector<LegacyRow> rows(rowCount);
  for (LegacyRow& row : rows) {
    for (size_t c = 0; c < route.table->columns.size(); ++c) {
      LegacyCell& cell = row.emplace_back();
      cell.value = in.value(&cell.blob);
    }
  }
  world.run(route, rows);
  return 0;
}
