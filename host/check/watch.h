#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "base/mutex.h"
#include "host/report/report.h"

namespace zorbec {

// Blocks the signals that a Watch takes, in the calling thread and all that it starts. To be held
// around everything, before any thread is started.
class SignalsForWatch {
 public:
  SignalsForWatch();
  // What came meanwhile and nobody took is forgotten.
  ~SignalsForWatch();
  SignalsForWatch(const SignalsForWatch&) = delete;
  SignalsForWatch& operator=(const SignalsForWatch&) = delete;

  // Whether somebody has asked the process to end, and no Watch has taken notice.
  static bool is_end_asked_for();
};

struct WatchOptions {
  std::optional<std::chrono::nanoseconds> deadline;  // from the start of the watch
  bool shows_progress = false;
  bool is_terminal = false;  // standard error is: progress rewrites its line

  std::function<std::string()> status_line;  // where the check stands
  // Called on the thread of the watch when the check is to end early: reason and signal for its
  // commands; and again and again with SIGKILL while commands do not end.
  std::function<void(Reason, int signal)> end_early;
};

// Stands beside a check in a thread of its own: ends it at the deadline or at Ctrl-C (a second one
// kills its commands and ends the process), shows progress, and answers SIGUSR1 with one line on
// standard error.
class Watch {
 public:
  explicit Watch(WatchOptions options);
  // Ends it and clears the line of progress.
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // Makes room on the terminal for a line of somebody else.
  void clear_line();
  // Shows no progress any more.
  void end_progress();

 private:
  void run();
  void show_progress();

  const WatchOptions options_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::atomic<bool> is_over_{false};
  std::atomic<bool> shows_progress_;
  Mutex mutex_;
  std::string shown_ ZORBEC_GUARDED_BY(mutex_);  // in the terminal's last line
  std::thread thread_;
};

}  // namespace zorbec
