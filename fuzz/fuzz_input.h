// fuzz_input.h — reading the fuzzer's bytes as choices and legacy values.
//
// FuzzInput consumes the input from the front; when the bytes run out every
// read answers zero or empty, so any input decodes to something. value()
// decodes one loosely typed legacy value of any kind a legacy column can
// hold: NULL, integers (small, extreme, near the key ranges), reals
// (including NaN and infinities), texts (digit runs, dates and time stamps
// in every legacy form, keys of the registered devices, raw bytes) and
// blobs. The kinds are chosen by one byte so the fuzzer learns them quickly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "collaborators/value.h"

namespace veq::fuzz {

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  uint8_t byte();
  uint64_t integer(int bytes);  // little-endian, 1..8 bytes
  std::string text(size_t maxLength);
  std::string rest();
  // One legacy column value; *blob is set when it is to be bound as a BLOB.
  VEQValue value(bool* blob);

 private:
  const uint8_t* data_;
  size_t size_;
};

// Texts the value decoder draws keys from (the registered devices' keys), so
// that fuzzed rows reach the conversions past the device look-up.
const std::vector<std::string>& fuzzDeviceKeys();

}  // namespace veq::fuzz
