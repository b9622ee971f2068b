// fixtures.h — generation of legacy stores for trying and measuring the tool.
//
// generateFixtures writes, into options.outDir (created when missing):
//   ios.sqlite            the legacy iOS store
//   android.sqlite        the legacy Android store
//   android_cloud.sqlite  the legacy Android cloud store
//   defaults.json         user defaults that hand the first device's binding
//                         over to the device-info migration
// with the tables of fixtureTables() for `devices` devices over `days` days
// starting on 1 January 2017. Existing files of those names are replaced.
//
// Output is a function of the options alone: the same seed, device count and
// day count give byte-identical files. Each store is written in one
// transaction with journalling and syncing off (a crash leaves a store to be
// regenerated, not repaired), so a million item rows take seconds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace veq {

struct FixtureOptions {
  std::string outDir;
  int days = 30;
  int devices = 2;  // 1..255: the device number is the last byte of its MAC
  uint64_t seed = 1;
};

struct FixtureFile {
  std::string path;
  int64_t rows = 0;  // rows written over all tables (0 for defaults.json)
};

// Writes the fixtures; on failure returns false with a one-line *error that
// names the file or option at fault.
bool generateFixtures(const FixtureOptions& options, std::vector<FixtureFile>* written, std::string* error);

}  // namespace veq
