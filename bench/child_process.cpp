// child_process.cpp — fork, exec and wait4 with rusage.
#include "bench/child_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace veq::bench {

double cpuSecondsOf(const struct rusage& usage) {
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

ChildResult runMeasured(const std::vector<std::string>& argv, const std::string& stdoutPath) {
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  ChildResult result;
  const auto started = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid < 0) return result;
  if (pid == 0) {
    if (!stdoutPath.empty()) {
      const int fd = open(stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) _exit(127);
      close(fd);
    }
    execv(args[0], args.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(pid, &status, 0, &usage) != pid) return result;
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.cpuSeconds = cpuSecondsOf(usage);
  result.peakRssKiB = usage.ru_maxrss;  // Linux reports kibibytes
  return result;
}

}  // namespace veq::bench
