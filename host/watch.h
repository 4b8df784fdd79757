#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "host/report.h"

namespace zorbec {

// Blocks the signals that a Watch takes, in the calling thread and all that it starts. To be held
// around everything, before any thread is started.
class SignalsForWatch {
 public:
  SignalsForWatch();
  ~SignalsForWatch();
  SignalsForWatch(const SignalsForWatch&) = delete;
  SignalsForWatch& operator=(const SignalsForWatch&) = delete;
};

struct WatchOptions {
  std::optional<std::chrono::nanoseconds> deadline;  // from the start of the watch
  bool shows_progress = false;
  bool is_terminal = false;  // standard error is: progress rewrites its line

  std::function<std::string()> status_line;  // where the check stands
  // Called once, on a thread of the watch, when the check is to end early: reason and signal for
  // its commands; and again with SIGKILL for commands that do not end.
  std::function<void(Reason, int signal)> end_early;
};

// Stands beside a check in a thread of its own: ends it at the deadline or at Ctrl-C (a second one
// ends the process), shows progress, and answers SIGUSR1 with one line on standard error.
class Watch {
 public:
  explicit Watch(WatchOptions options);
  // Ends it and clears the line of progress.
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  void run();
  void show_progress(bool is_over);

  const WatchOptions options_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::atomic<bool> is_over_{false};
  std::string shown_;
  std::thread thread_;
};

}  // namespace zorbec
