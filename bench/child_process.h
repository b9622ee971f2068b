// child_process.h — runs a program as a child process and measures it.
//
// runMeasured forks, executes `argv` (argv[0] is the program's path, no
// shell, no PATH search) with its standard output sent to `stdoutPath` (or
// inherited when empty), waits for it with wait4 and reports its exit status,
// wall-clock seconds, CPU seconds (user + system) and peak resident set size. The peak comes from the
// child's own rusage, so the benchmark's memory does not count.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct rusage;

namespace veq::bench {

struct ChildResult {
  int exitStatus = -1;   // the exit code, or -1 when the child did not exit normally
  double seconds = 0;
  double cpuSeconds = 0;
  int64_t peakRssKiB = 0;
};

// User plus system time of a rusage, in seconds.
double cpuSecondsOf(const struct rusage& usage);

ChildResult runMeasured(const std::vector<std::string>& argv, const std::string& stdoutPath = "");

}  // namespace veq::bench
