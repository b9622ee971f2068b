// progress.h — a one-line progress display for a terminal.
//
// Shows the store and table being migrated and the rows done out of the
// table's total, rewritten in place ("\r" and erase-line). Rules:
//   * At most one redraw per interval (100 ms), across tables: a run of many
//     small tables draws a few lines, not one per table, and a small table
//     that finishes within the interval never shows "0/N".
//   * A table of 10,000 rows or more also shows its rate and, once it has run
//     for a second, the time left at that rate:
//         ios t_sport_item: 412000/1038015 rows, 131000 rows/s, about 5 s left
//   * finish() erases the line, so the report starts on a clean one. The
//     destructor does too, and so does a SIGINT or SIGTERM that arrives
//     while the line is shown (installInterruptCleanup): the handler erases
//     it and then lets the signal end the process as it would have.
//   * A disabled display writes nothing at all; the caller enables it only
//     when the stream is a terminal or the user asks for it.
// The clock is a parameter so that tests can step it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace veq {

class ProgressLine {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  ProgressLine(std::ostream& out, bool enabled, Clock clock = &std::chrono::steady_clock::now)
      : out_(out), enabled_(enabled), clock_(std::move(clock)) {}
  ~ProgressLine() { finish(); }

  void start(const std::string& store, const std::string& table, int64_t total);
  void advance();
  void finish();

  // Installs SIGINT and SIGTERM handlers that erase a shown line on the
  // terminal behind file descriptor `fd` before the signal takes effect.
  static void installInterruptCleanup(int fd);

 private:
  void drawIfDue();
  void draw(std::chrono::steady_clock::time_point now);

  std::ostream& out_;
  bool enabled_;
  Clock clock_;
  bool shown_ = false;
  std::string label_;
  int64_t done_ = 0;
  int64_t total_ = 0;
  std::chrono::steady_clock::time_point tableStart_{};
  std::chrono::steady_clock::time_point lastDraw_{};
};

}  // namespace veq
