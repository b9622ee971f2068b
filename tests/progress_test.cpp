// The progress line: bounded redraws, rate and time left, and a clean
// terminal however the run ends.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <sstream>
#include <thread>

#include "cli/progress.h"
#include "tool_test_support.h"

namespace veq {
namespace {

using namespace std::chrono_literals;

TEST(ProgressLine, RedrawsAtABoundedRateWithRateAndTimeLeftOnLargeTables) {
  std::chrono::steady_clock::time_point now{};
  std::ostringstream out;
  ProgressLine line(out, true, [&now] { return now; });
  auto draws = [&out] {
    const std::string s = out.str();
    return std::count(s.begin(), s.end(), '\r');
  };

  now += 1h;
  line.start("ios", "t_a", 5);  // first table: drawn
  for (int i = 0; i < 5; ++i) line.advance();
  now += 10ms;
  line.start("ios", "t_b", 7);  // within the interval: not drawn
  EXPECT_EQ(draws(), 1);
  EXPECT_EQ(out.str(), "\r\x1b[Kios t_a: 0/5 rows");

  now += 200ms;
  line.start("ios", "t_big", 1000000);
  for (int i = 0; i < 512000; ++i) {
    if (i % 256 == 0) now += 1ms;  // 2 s in all
    line.advance();
  }
  EXPECT_LE(draws(), 2 + 2000 / 100);
  const std::string last = out.str().substr(out.str().rfind('\r'));
  EXPECT_NE(last.find("ios t_big: 512000/1000000 rows, 256000 rows/s, about 2 s left"), std::string::npos) << last;

  line.finish();
  EXPECT_EQ(out.str().substr(out.str().size() - 4), "\r\x1b[K");
  const size_t size = out.str().size();
  line.finish();  // nothing shown: nothing written
  EXPECT_EQ(out.str().size(), size);

  std::ostringstream off;
  ProgressLine disabled(off, false);
  disabled.start("ios", "t_a", 5);
  disabled.advance();
  EXPECT_EQ(off.str(), "");
}

using ProgressTool = ToolTest;

// The run is frozen while a line is shown, so the SIGTERM sent then arrives
// before the run can end: the tool must die of it, and only the handler can
// have erased the line.
TEST_F(ProgressTool, ATerminatedRunLeavesTheLineErased) {
  fixtures("fx", "--days 400 --devices 2");
  const std::string err = path("stderr.txt").string();
  const pid_t pid = spawnTool({"run", "--ios", (path("fx") / "ios.sqlite").string(), "--out",
                               path("new.sqlite").string(), "--progress"},
                              err);
  const auto deadline = std::chrono::steady_clock::now() + 120s;
  while (std::chrono::steady_clock::now() < deadline && slurp(err).find("t_sport_item") == std::string::npos) {
    std::this_thread::sleep_for(5ms);
  }
  kill(pid, SIGSTOP);
  const std::string shown = slurp(err);
  kill(pid, SIGTERM);
  kill(pid, SIGCONT);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_NE(shown.find("t_sport_item"), std::string::npos) << "no progress line was drawn";
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << "the run ended before the signal, status "
                                                                   << status;
  EXPECT_NE(shown.substr(shown.size() - 4), "\r\x1b[K");  // a line was on the terminal
  const std::string written = slurp(err);
  EXPECT_EQ(written.substr(written.size() - 4), "\r\x1b[K");
}

}  // namespace
}  // namespace veq
