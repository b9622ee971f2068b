// series.cpp — min, median and the load average (series.h).
#include "bench/series.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace veq::bench {

void Series::add(const std::string& name, double value) {
  const auto it = std::find_if(figures_.begin(), figures_.end(), [&](const auto& f) { return f.first == name; });
  if (it == figures_.end()) {
    figures_.emplace_back(name, std::vector<double>{value});
  } else {
    it->second.push_back(value);
  }
}

const std::vector<double>& Series::values(const std::string& name) const {
  static const std::vector<double> kNone;
  const auto it = std::find_if(figures_.begin(), figures_.end(), [&](const auto& f) { return f.first == name; });
  return it == figures_.end() ? kNone : it->second;
}

double Series::min(const std::string& name) const {
  const std::vector<double>& v = values(name);
  return v.empty() ? 0 : *std::min_element(v.begin(), v.end());
}

double Series::median(const std::string& name) const {
  std::vector<double> v = values(name);
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  const size_t mid = v.size() / 2;
  return v.size() % 2 == 1 ? v[mid] : (v[mid - 1] + v[mid]) / 2;
}

std::string Series::table(const std::string& unit, int decimals, int width) const {
  std::string out;
  for (const auto& [name, v] : figures_) {
    std::vector<std::string> each;
    for (double x : v) each.push_back(fmt::format("{:.{}f}", x, decimals));
    fmt::format_to(std::back_inserter(out), "{:<{}}  min {:.{}f}{}  median {:.{}f}{}  ({})\n", name, width, min(name),
                   decimals, unit, median(name), decimals, unit, fmt::join(each, " "));
  }
  return out;
}

std::string loadAverage() {
  std::ifstream in("/proc/loadavg");
  std::string one, five, fifteen;
  if (!(in >> one >> five >> fifteen)) return "?";
  return fmt::format("{} {} {}", one, five, fifteen);
}

}  // namespace veq::bench
