// progress.cpp — the in-place progress line.
#include "cli/progress.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>

namespace veq {

namespace {

constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr int64_t kLargeTable = 10000;
constexpr const char kErase[] = "\r\x1b[K";

// Read by the signal handler: whether a line is on the terminal, and where.
std::atomic<bool> gLineShown{false};
int gTerminalFd = -1;

void eraseAndReraise(int signal) {
  if (gLineShown.load() && gTerminalFd >= 0) {
    const ssize_t ignored = ::write(gTerminalFd, kErase, sizeof kErase - 1);
    (void)ignored;
  }
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

}  // namespace

void ProgressLine::installInterruptCleanup(int fd) {
  gTerminalFd = fd;
  for (int signal : {SIGINT, SIGTERM}) {
    struct sigaction action {};
    action.sa_handler = eraseAndReraise;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
  }
}

void ProgressLine::start(const std::string& store, const std::string& table, int64_t total) {
  if (!enabled_) return;
  label_ = store + " " + table;
  done_ = 0;
  total_ = total;
  tableStart_ = clock_();
  drawIfDue();
}

void ProgressLine::advance() {
  if (!enabled_) return;
  ++done_;
  // Reading the clock on every row would cost more than the drawing saves.
  if ((done_ & 255) == 0) drawIfDue();
}

void ProgressLine::finish() {
  if (!shown_) return;
  out_ << kErase << std::flush;
  shown_ = false;
  gLineShown.store(false);
}

void ProgressLine::drawIfDue() {
  const auto now = clock_();
  if (now - lastDraw_ >= kInterval) draw(now);
}

void ProgressLine::draw(std::chrono::steady_clock::time_point now) {
  std::string line = fmt::format("{}{}: {}/{} rows", kErase, label_, done_, total_);
  const double seconds = std::chrono::duration<double>(now - tableStart_).count();
  if (total_ >= kLargeTable && done_ > 0 && seconds > 0) {
    const double rate = done_ / seconds;
    line += fmt::format(", {:.0f} rows/s", rate);
    if (seconds >= 1.0 && total_ > done_) line += fmt::format(", about {:.0f} s left", (total_ - done_) / rate);
  }
  out_ << line << std::flush;
  shown_ = true;
  gLineShown.store(true);
  lastDraw_ = now;
}

}  // namespace veq
