#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/own_process.h"

namespace zorbec::unit {

// The open descriptors of this process and what each refers to.
inline std::map<std::string, std::string> open_descriptors() {
  std::map<std::string, std::string> open;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // the one of the walk itself may be
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (target.find("/proc/") != 0) open[entry.path().filename()] = target;
  }
  return open;
}

// Whether this process comes down to the one thread that it began with.
inline bool comes_down_to_one_thread() {
#ifdef __SANITIZE_THREAD__
  // The sanitizer has one of its own since the first was started.
  constexpr std::size_t kOne = 2;
#else
  constexpr std::size_t kOne = 1;
#endif
  return threads_down_to(kOne) == kOne;
}

// Whether this process has a child, be it running or ended and not waited for.
inline bool has_children() {
  siginfo_t child{};
  return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// Runs `step` in a child of its own and returns what it returns, 0 to 255; -1 if the child did not
// end by itself.
template <typename Step>
int in_child(Step step) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    int result = 255;
    try {
      result = step();
    } catch (...) {
    }
    ::_exit(result);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace zorbec::unit
