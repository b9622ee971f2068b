// series.h — figures measured once per repeat, and the machine's load.
//
// The benchmark runs on a shared machine whose speed moves by tens of
// percent from one minute to the next, so the things it compares (the tool,
// the plain copy, the row-by-row floor) are measured one after the other
// within each repeat, and only figures taken within one repeat are divided.
// A Series collects such figures by name, one value per repeat and name, in
// the order the names first appear, and prints each name's minimum and
// median across the repeats (the median of an even count is the mean of the
// two middle values). The minimum is the figure least disturbed by other
// work; the median says what a typical repeat saw.
//
// loadAverage() is the first three fields of /proc/loadavg ("?" when it
// cannot be read): printed at the start and the end of a benchmark, so a
// reader can tell a quiet series from a busy one.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace veq::bench {

class Series {
 public:
  // One repeat's value of `name`.
  void add(const std::string& name, double value);

  // The values of `name` so far (empty when none).
  const std::vector<double>& values(const std::string& name) const;

  // Smallest and median value of `name`; 0 when it has none.
  double min(const std::string& name) const;
  double median(const std::string& name) const;

  // One line per name: "<name padded to `width`>  min <v><unit>  median
  // <v><unit>  (<every value>)", values with `decimals` decimals.
  std::string table(const std::string& unit, int decimals, int width = 34) const;

 private:
  std::vector<std::pair<std::string, std::vector<double>>> figures_;
};

std::string loadAverage();

}  // namespace veq::bench
