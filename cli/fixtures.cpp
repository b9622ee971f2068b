// fixtures.cpp — writes the legacy stores described by fixtureTables().
#include "cli/fixtures.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/fixture_tables.h"
#include "collaborators/sql_identifier.h"
#include "collaborators/fmdb.h"

namespace veq {

namespace {

namespace fs = std::filesystem;

constexpr FixtureStore kStores[] = {FixtureStore::Ios, FixtureStore::Android, FixtureStore::AndroidCloud};

std::vector<FixtureDevice> makeDevices(int count) {
  std::vector<FixtureDevice> devices;
  for (int i = 0; i < count; ++i) {
    devices.push_back({i, fmt::format("AA:BB:CC:DD:EE:{:02X}", i + 1), std::to_string(100001 + i), i + 1});
  }
  return devices;
}

// Calls emit(values) for every row of `table`, regular rows first (a
// Generated table emits its own rows).
template <typename Emit>
void forEachRow(const FixtureTable& table, const FixtureOptions& options, const std::vector<FixtureDevice>& devices,
                Emit emit) {
  FixtureRng rng(options.seed, {FixtureRng::hashName(table.name)});
  if (table.rowsPer == FixtureRowsPer::Generated) {
    FixtureGeneration generation{options.seed, options.days, devices, rng};
    table.generate(generation, [&emit](VEQArray row) { emit(std::move(row)); });
    return;
  }
  auto values = [&table](FixtureRowContext& context) {
    VEQArray row;
    row.reserve(table.columns.size());
    for (const FixtureColumn& column : table.columns) row.push_back(column.value(context));
    return row;
  };
  const size_t deviceCount =
      table.deviceLimit > 0 ? std::min<size_t>(table.deviceLimit, devices.size()) : devices.size();
  for (size_t d = 0; d < deviceCount; ++d) {
    if (table.rowsPer == FixtureRowsPer::Device) {
      FixtureRowContext context{rng, devices[d]};
      emit(values(context));
      continue;
    }
    for (int day = 0; day < options.days; ++day) {
      const FixtureDayPlan plan = fixtureDayPlan(options.seed, devices[d], day);
      if (!plan.recorded) continue;
      if (table.rowsPer == FixtureRowsPer::Day) {
        FixtureRowContext context{rng, devices[d], &plan};
        emit(values(context));
        continue;
      }
      for (const FixtureSportItem& item : plan.items) {
        FixtureRowContext context{rng, devices[d], &plan, &item};
        emit(values(context));
      }
    }
  }
  // Rows with columns replaced start from the first device's first item.
  const FixtureDayPlan plan = fixtureDayPlan(options.seed, devices.front(), 0);
  for (const VEQDict& replacements : table.oddRows) {
    FixtureRowContext context{rng, devices.front(), &plan, &plan.items.front()};
    VEQArray row = values(context);
    for (size_t i = 0; i < table.columns.size(); ++i) {
      if (const VEQValue* v = replacements.find(table.columns[i].name)) row[i] = *v;
    }
    emit(std::move(row));
  }
}

bool writeTable(VEQFMDatabase& db, const FixtureTable& table, const FixtureOptions& options,
                const std::vector<FixtureDevice>& devices, int64_t* rows) {
  std::string columns, placeholders;
  for (const FixtureColumn& column : table.columns) {
    if (!columns.empty()) {
      columns += ", ";
      placeholders += ", ";
    }
    columns += sqlIdentifier(column.name) + " " + column.type;
    placeholders += "?";
  }
  if (!db.executeUpdate(fmt::format("CREATE TABLE {} ({})", sqlIdentifier(table.name), columns))) return false;

  std::string names;
  for (const FixtureColumn& column : table.columns) names += (names.empty() ? "" : ", ") + sqlIdentifier(column.name);
  const std::string insert = fmt::format("INSERT INTO {} ({}) VALUES ({})", sqlIdentifier(table.name), names, placeholders);
  bool ok = true;
  forEachRow(table, options, devices, [&](const VEQArray& values) {
    if (ok && !db.executeUpdate(insert, values)) ok = false;
    ++*rows;
  });
  return ok;
}

void removeStore(const fs::path& path) {
  std::error_code ignored;
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(path.string() + suffix, ignored);
}

bool writeStore(FixtureStore store, const fs::path& path, const FixtureOptions& options,
                const std::vector<FixtureDevice>& devices, int64_t* rows, std::string* error) {
  removeStore(path);
  VEQFMDatabase db(path.string());
  bool ok = db.open() && db.executeStatements("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;") &&
            db.beginTransaction();
  for (const FixtureTable& table : fixtureTables()) {
    if (!ok) break;
    if (std::find(table.stores.begin(), table.stores.end(), store) == table.stores.end()) continue;
    ok = writeTable(db, table, options, devices, rows);
  }
  ok = ok && db.commit();
  if (!ok) *error = fmt::format("{}: {}", path.string(), db.lastErrorMessage());
  db.close();
  return ok;
}

// User defaults of an app that had bound the first device: its address,
// identifier and broadcast name, and the bound flag.
bool writeDefaults(const fs::path& path, const FixtureDevice& device, std::string* error) {
  const nlohmann::ordered_json defaults = {
      {"lanya", "uuid-" + device.userId}, {"wareMacString", device.mac}, {"BLE_NAME", "VEQ Band 01"}, {"BINDINGED", true}};
  std::ofstream file(path, std::ios::trunc);
  file << defaults.dump(2) << '\n';
  file.close();
  if (!file) *error = fmt::format("{}: cannot write", path.string());
  return static_cast<bool>(file);
}

}  // namespace

bool generateFixtures(const FixtureOptions& options, std::vector<FixtureFile>* written, std::string* error) {
  if (options.days < 1 || options.devices < 1 || options.devices > 255) {
    *error = "fixtures: needs at least one day and 1 to 255 devices";
    return false;
  }
  const fs::path dir(options.outDir);
  std::error_code ec;
  fs::create_directories(dir, ec);
  if (ec || !fs::is_directory(dir)) {
    *error = fmt::format("{}: cannot create directory{}", options.outDir, ec ? ": " + ec.message() : "");
    return false;
  }
  const std::vector<FixtureDevice> devices = makeDevices(options.devices);
  for (FixtureStore store : kStores) {
    FixtureFile file{(dir / fixtureStoreFileName(store)).string()};
    if (!writeStore(store, file.path, options, devices, &file.rows, error)) return false;
    if (written) written->push_back(file);
  }
  const fs::path defaults = dir / "defaults.json";
  if (!writeDefaults(defaults, devices.front(), error)) return false;
  if (written) written->push_back({defaults.string(), 0});
  return true;
}

}  // namespace veq
