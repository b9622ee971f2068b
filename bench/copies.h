// copies.h — the benchmark's SQL-only table copies.
//
// extractTables makes a fresh store at `toPath` holding some tables of the
// store at `fromPath`, each declared exactly as there (same CREATE
// statement) and with the same rows, so the tool can be timed on those
// tables alone. A table the store does not have is an error.
//
// plainCopy is the yardstick for the tool: in a fresh database at `refPath`
// it creates a table "ref" declared like `shapeTable` of the database at
// `shapePath` (same columns, same indexes, no triggers), then times one
//   INSERT INTO ref(<columns after pk>) SELECT <expressions> FROM legacy.<table>
// with the source database ATTACHed as "legacy", inside one transaction and
// with the tool's connection settings. The expressions are given by the
// caller and must match the column count. The sport-interval benchmark
// copies the legacy table, pairing its columns with ours by hand; the
// whole-store benchmark copies the records the tool wrote (the same values,
// so the same keys reach the index in the same order).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace veq::bench {

bool extractTables(const std::string& fromPath, const std::vector<std::string>& tables, const std::string& toPath,
                   std::string* error);

struct PlainCopy {
  std::string legacyPath;
  std::string legacyTable;
  std::vector<std::string> expressions;  // one per column of the shape after "pk"
  std::string shapePath;
  std::string shapeTable;
  std::string refPath;
  // Instead of the one statement, the same rows one INSERT each: the SELECT
  // stepped row by row, each row's values bound to one prepared
  // INSERT … VALUES (?, …) and stepped. The least any migration that writes
  // a row per statement pays, with nothing looked up or converted.
  bool rowByRow = false;
};

struct PlainCopyResult {
  double seconds = 0;
  double cpuSeconds = 0;
  int64_t rows = 0;  // rows in "ref" afterwards
};

bool runPlainCopy(const PlainCopy& copy, PlainCopyResult* result, std::string* error);

}  // namespace veq::bench
