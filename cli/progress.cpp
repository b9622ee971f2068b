// progress.cpp — the in-place progress line.
#include "cli/progress.h"

#include <fmt/format.h>

namespace veq {

namespace {
constexpr auto kInterval = std::chrono::milliseconds(100);
}

void ProgressLine::start(const std::string& store, const std::string& table, int64_t total) {
  if (!enabled_) return;
  label_ = store + " " + table;
  done_ = 0;
  total_ = total;
  draw();
}

void ProgressLine::advance() {
  if (!enabled_) return;
  ++done_;
  // Reading the clock on every row would cost more than the drawing saves.
  if ((done_ & 1023) == 0 && std::chrono::steady_clock::now() - lastDraw_ >= kInterval) draw();
}

void ProgressLine::finish() {
  if (!shown_) return;
  out_ << "\r\x1b[K" << std::flush;
  shown_ = false;
}

void ProgressLine::draw() {
  out_ << fmt::format("\r\x1b[K{}: {}/{} rows", label_, done_, total_) << std::flush;
  shown_ = true;
  lastDraw_ = std::chrono::steady_clock::now();
}

}  // namespace veq
