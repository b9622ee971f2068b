// seed_corpus.cpp — writes the fuzz targets' seed corpus from the generated
// legacy stores: seed_corpus OUT_DIR writes OUT_DIR/<target>/<name> files.
//
//   legacy_row     the first two rows of every route's table, encoded as the
//                  target reads them (route, row count, values);
//   json           every distinct shape of the activity column's JSON, and
//                  the generated defaults file;
//   exists_query   the exists queries of every health table for a generated
//                  device and day, and the settings look-ups.
// The stores are generated with a fixed seed, so the corpus repeats.
#include <sqlite3.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "fixtures/fixtures.h"
#include "collaborators/fmdb.h"
#include "collaborators/schema_installer.h"
#include "collaborators/sql_identifier.h"
#include "collaborators/sync_sql_manager.h"
#include "fuzz/legacy_world.h"

namespace fs = std::filesystem;
using namespace veq;
using namespace veq::fuzz;

namespace {

void write(const fs::path& file, const std::string& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

void putInteger(std::string& out, uint64_t v) {
  for (int i = 0; i < 8; ++i) out += static_cast<char>((v >> (8 * i)) & 0xff);
}

// One value in FuzzInput::value's encoding.
void putValue(std::string& out, const VEQValue& v) {
  switch (v.kind()) {
    case VEQValue::Kind::Null: out += '\0'; break;
    case VEQValue::Kind::Real: {
      out += '\x07';
      uint64_t bits;
      const double d = v.doubleValue();
      std::memcpy(&bits, &d, sizeof bits);
      putInteger(out, bits);
      break;
    }
    case VEQValue::Kind::Text: {
      const std::string& t = v.text();
      out += '\x0e';
      out += static_cast<char>(std::min<size_t>(t.size(), 255));
      out += t.substr(0, 255);
      break;
    }
    default:
      out += '\x03';
      putInteger(out, static_cast<uint64_t>(v.integerValue()));
      break;
  }
}

std::string fileName(std::string name) {
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-') c = '_';
  }
  return name;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: seed_corpus OUT_DIR\n");
    return 2;
  }
  const fs::path out = argv[1];
  const fs::path stores = fs::temp_directory_path() / ("veq-fuzz-seeds-" + std::to_string(::getpid()));
  std::vector<FixtureFile> written;
  std::string error;
  if (!generateFixtures({stores.string(), 3, 2, 7}, &written, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }

  // legacy_row: two rows of each route's table.
  const std::vector<LegacyRoute>& routes = LegacyWorld::get().routes();
  for (size_t r = 0; r < routes.size(); ++r) {
    const LegacyRoute& route = routes[r];
    VEQFMDatabase db((stores / fixtureStoreFileName(static_cast<FixtureStore>(route.store))).string());
    if (!db.openWithFlags(SQLITE_OPEN_READONLY)) return 1;
    std::string bytes(1, static_cast<char>(r));
    std::string rows;
    int count = 0;
    for (auto rs = db.executeQuery("SELECT * FROM " + sqlIdentifier(route.table->name) + " LIMIT 2");
         rs && rs->next(); ++count) {
      for (int c = 0; c < rs->columnCount(); ++c) putValue(rows, rs->objectForColumnIndex(c));
    }
    if (count == 0) continue;
    bytes += static_cast<char>(count - 1);
    write(out / "legacy_row" / fileName(std::to_string(r) + "-" + route.table->name), bytes + rows);
  }

  // json: each distinct activity text shape (by its keys' order) and the defaults file.
  {
    VEQFMDatabase db((stores / "android.sqlite").string());
    if (!db.openWithFlags(SQLITE_OPEN_READONLY)) return 1;
    std::set<size_t> lengths;
    int n = 0;
    for (auto rs = db.executeQuery("SELECT ACTIVITY_DATA FROM ACTIVITY_DATA"); rs && rs->next() && n < 8;) {
      const std::string text = rs->stringForColumn("ACTIVITY_DATA");
      if (!lengths.insert(text.size() / 64).second) continue;
      write(out / "json" / ("activity-" + std::to_string(n++)), std::string(1, '\x01') + text);
    }
    std::ifstream defaults(stores / "defaults.json", std::ios::binary);
    write(out / "json" / "defaults", std::string(1, '\x02') +
                                         std::string(std::istreambuf_iterator<char>(defaults), {}));
    write(out / "json" / "nested", std::string(1, '\0') + "{\"a\":[1,2.5,\"x\",true,null,{\"b\":-1e3}]}");
  }

  // exists_query: every health table's exists text, and the settings look-ups.
  const std::string mac = "AA:BB:CC:DD:EE:01", stamp = "1483228800";
  using S = VEQSyncSqlManager;
  const std::vector<std::pair<VEQHealthTable, std::string>> texts = {
      {VEQHealthTable::kSport, S::querySportExistSqlStr(stamp, mac)},
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr(stamp, 3, mac)},
      {VEQHealthTable::kSleep, S::querySleepExistSqlStr(stamp, mac)},
      {VEQHealthTable::kSleepItem, S::querySleepItemExistSqlStr(stamp, 1, mac)},
      {VEQHealthTable::kHeartRate, S::queryHrExistSqlStr(stamp, mac)},
      {VEQHealthTable::kHeartRateItem, S::queryHrItemExistSqlStr(stamp, 2, mac)},
      {VEQHealthTable::kBloodPressure, S::queryBpExistSqlStr(stamp, mac)},
      {VEQHealthTable::kBloodPressureItem, S::queryBpItemExistSqlStr(stamp, 4, mac)},
      {VEQHealthTable::kGps, S::queryGpsExistSqlStr(stamp, mac)},
      {VEQHealthTable::kGpsPoint, S::queryGpsItemExistSqlStr(stamp, 5, mac)},
      {VEQHealthTable::kWeight, S::queryWeightExistSqlStr(stamp)},
      {VEQHealthTable::kActivity, S::queryActivityExistSqlStr(stamp, mac)},
      {VEQHealthTable::kSportItem, S::querySportItemExistSqlStr(stamp, -1, "x' OR '1'='1")},
  };
  int n = 0;
  for (const auto& [table, text] : texts) {
    write(out / "exists_query" / ("health-" + std::to_string(n++)), std::string(1, static_cast<char>(table)) + text);
  }
  n = 0;
  for (const std::string& table : veqNewTableNames()) {
    if (table.rfind("health_", 0) == 0 || n >= 6) continue;
    write(out / "exists_query" / ("settings-" + std::to_string(n++)),
          std::string(1, '\0') + "SELECT pk FROM " + table + " WHERE mac_addr = '" + mac + "'");
  }
  write(out / "exists_query" / "alarm", std::string(1, '\0') +
                                            "SELECT pk FROM t_set_alarm WHERE alarm_id = 3 AND mac_addr = '" + mac +
                                            "'");
  fs::remove_all(stores);
  return 0;
}
