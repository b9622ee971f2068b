// fuzz_input.cpp — the value decoder of the fuzz targets.
#include "fuzz/fuzz_input.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>

namespace veq::fuzz {

uint8_t FuzzInput::byte() {
  if (size_ == 0) return 0;
  --size_;
  return *data_++;
}

uint64_t FuzzInput::integer(int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; ++i) v |= static_cast<uint64_t>(byte()) << (8 * i);
  return v;
}

std::string FuzzInput::text(size_t maxLength) {
  const size_t n = std::min<size_t>({byte(), maxLength, size_});
  std::string s(reinterpret_cast<const char*>(data_), n);
  data_ += n;
  size_ -= n;
  return s;
}

std::string FuzzInput::rest() {
  std::string s(reinterpret_cast<const char*>(data_), size_);
  data_ += size_;
  size_ = 0;
  return s;
}

const std::vector<std::string>& fuzzDeviceKeys() {
  static const std::vector<std::string> keys = {"AA:BB:CC:DD:EE:01", "AA:BB:CC:DD:EE:02", "1001", "1002", "1", "2"};
  return keys;
}

namespace {

// Digit texts in the legacy date forms, built from the input's numbers.
std::string dateText(FuzzInput& in) {
  const int year = 1960 + in.byte() % 80 + (in.byte() % 8 == 0 ? 543 : 0) + (in.byte() % 16 == 0 ? 1100 : 0);
  const int month = in.byte() % 14, day = in.byte() % 33, hour = in.byte() % 25, minute = in.byte() % 61;
  char buf[64];
  switch (in.byte() % 6) {
    case 0: std::snprintf(buf, sizeof buf, "%04d%02d%02d", year, month, day); break;
    case 1: std::snprintf(buf, sizeof buf, "%04d%02d%02d%02d%02d%02d", year, month, day, hour, minute, minute); break;
    case 2: std::snprintf(buf, sizeof buf, "%04d-%02d-%02d", year, month, day); break;
    case 3: std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, minute); break;
    case 4: std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(in.integer(5) % 4102444800LL)); break;
    default: std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(in.integer(6) % 4102444800000LL)); break;
  }
  return buf;
}

}  // namespace

VEQValue FuzzInput::value(bool* blob) {
  *blob = false;
  switch (byte() % 16) {
    case 0: return VEQValue();
    case 1: return static_cast<int64_t>(byte());
    case 2: return -static_cast<int64_t>(byte());
    case 3: return static_cast<int64_t>(integer(8));
    case 4: {
      static const int64_t extremes[] = {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                                         std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
                                         std::numeric_limits<int32_t>::max() + int64_t{1}, -1, 0, 255, 256, 65535};
      return extremes[byte() % std::size(extremes)];
    }
    case 5: return static_cast<int64_t>(integer(4));
    case 6: {  // a date as the integer YYYYMMDD or a time stamp
      const std::string d = dateText(*this);
      int64_t v = 0;
      for (char c : d) {
        if (c >= '0' && c <= '9') v = v * 10 + (c - '0');
      }
      return v;
    }
    case 7: {
      double d;
      const uint64_t bits = integer(8);
      std::memcpy(&d, &bits, sizeof d);
      return d;
    }
    case 8: {
      static const double reals[] = {0.5, -0.5, 1e308, -1e308, 9.3e18, -9.3e18, 1e-300,
                                     std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
                                     65.25, 3000.0};
      return reals[byte() % std::size(reals)];
    }
    case 9: return dateText(*this);
    case 10: return fuzzDeviceKeys()[byte() % fuzzDeviceKeys().size()];
    case 11: return std::to_string(static_cast<int64_t>(integer(8)));
    case 12: {
      *blob = true;
      return text(64);
    }
    case 13: {  // a long text
      const size_t n = static_cast<size_t>(byte()) * 64;
      return std::string(n, static_cast<char>(byte()));
    }
    default: return text(255);
  }
}

}  // namespace veq::fuzz
