// progress.h — a one-line progress display for a terminal.
//
// Shows the store and table being migrated and the rows done out of the
// table's total, rewritten in place ("\r" and erase-line) at most ten times a
// second, so a million rows cost a few hundred writes. A disabled display
// writes nothing at all; the caller enables it only when the stream is a
// terminal. finish() erases the line so the report starts on a clean one.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace veq {

class ProgressLine {
 public:
  ProgressLine(std::ostream& out, bool enabled) : out_(out), enabled_(enabled) {}
  ~ProgressLine() { finish(); }

  void start(const std::string& store, const std::string& table, int64_t total);
  void advance();
  void finish();

 private:
  void draw();

  std::ostream& out_;
  bool enabled_;
  bool shown_ = false;
  std::string label_;
  int64_t done_ = 0;
  int64_t total_ = 0;
  std::chrono::steady_clock::time_point lastDraw_;
};

}  // namespace veq
