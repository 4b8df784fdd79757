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

// Blocks the signals that a Watch takes, in the calling thread and in all threads that it starts
// afterwards: SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGPIPE, SIGXFSZ, but none that the process
// ignores. Must be made before any other thread is started and must outlive every Watch.
class SignalsForWatch {
 public:
  SignalsForWatch();
  // Drops the signals that came and that no Watch took, then unblocks them.
  ~SignalsForWatch();
  SignalsForWatch(const SignalsForWatch&) = delete;
  SignalsForWatch& operator=(const SignalsForWatch&) = delete;

  // Whether SIGINT, SIGTERM or SIGHUP came and no Watch has taken it. For the time before there is
  // a Watch.
  static bool is_end_asked_for();
};

struct WatchOptions {
  std::optional<std::chrono::nanoseconds> deadline;  // from the start of the watch
  bool shows_progress = false;
  bool is_terminal = false;  // standard error is a terminal: progress rewrites its line

  // Where the check stands, as one line without a line end. Called on the thread of the watch.
  std::function<std::string()> status_line;
  // Ends the check early: called on the thread of the watch with the reason and the signal for the
  // commands that run. First with SIGTERM; from two seconds later on with SIGKILL, ten times a
  // second, until the watch ends.
  std::function<void(Reason, int signal)> end_early;
};

// Watches a check from a thread of its own:
//   SIGINT, SIGTERM, SIGHUP   ends the check early; a second one kills its commands and ends the
//                             process by that signal
//   the deadline              ends the check early
//   SIGUSR1                   writes the status line to standard error
// and shows the progress, at most ten times a second. Needs a SignalsForWatch.
//
// What cannot be written to standard error is lost without an error.
class Watch {
 public:
  // Starts the thread. Throws std::system_error if that fails.
  explicit Watch(WatchOptions options);
  // Ends the thread, which takes up to a tenth of a second, and clears the line of progress.
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // Clears the progress line on a terminal, before somebody else writes there. Safe from any
  // thread.
  void clear_line();
  // Clears the line and shows no progress from then on. Safe from any thread.
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
