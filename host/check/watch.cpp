#include "host/check/watch.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>

#include "base/error.h"
#include "base/files.h"
#include "base/log_stream.h"

namespace zorbec {

// The states of a watch, which only run() changes:
//
//   running      --deadline-->  deadline
//   running      --signal---->  interrupted
//   deadline     --signal---->  interrupted
//   interrupted  --signal---->  killed
//
// "deadline" and "interrupted" mean that the check was ended early: the commands got SIGTERM, and
// SIGKILL two seconds later if they still run. No further command is started, so workers come to
// their end; the check then compares what it has and writes its report. "killed" means that the
// process ends at once, by the signal, without a report.
//
// There is no signal handler. The signals are blocked in all threads and taken by sigtimedwait(),
// so that ordinary code, with locks and memory, can act on them.

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{100};
constexpr std::chrono::seconds kGrace{2};  // for commands that were told to end

// A signal that nohup or a shell made the process ignore stays ignored.
bool is_ignored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watched_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  // The last two are taken and dropped. They must not end the process: the write() that caused them
  // fails with EPIPE or EFBIG, and that is reported.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGPIPE, SIGXFSZ}) {
    if (!is_ignored(signal)) sigaddset(&signals, signal);
  }
  return signals;
}

void write_to_standard_error(const std::string& text) {
  try {
    write_all(STDERR_FILENO, text, "standard error");
  } catch (const std::exception&) {
    return;  // there is nowhere else to report it
  }
}

std::size_t columns_of_terminal() {
  winsize size{};
  const bool is_known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return is_known ? size.ws_col : 80;
}

// One of the watched signals; 0 if none came within kBetweenLooks. This is also the clock of the
// watch: it wakes up ten times a second to look at the deadline and to redraw the progress.
int next_signal() {
  const sigset_t signals = watched_signals();
  const timespec wait{0, std::chrono::nanoseconds(kBetweenLooks).count()};
  const int signal = ::sigtimedwait(&signals, nullptr, &wait);
  return signal < 0 ? 0 : signal;
}

}  // namespace

SignalsForWatch::SignalsForWatch() {
  const sigset_t signals = watched_signals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

SignalsForWatch::~SignalsForWatch() {
  // Unblocked with a signal pending, the process would end after its work is done.
  const sigset_t signals = watched_signals();
  const timespec now{};
  while (::sigtimedwait(&signals, nullptr, &now) > 0) {
  }
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool SignalsForWatch::is_end_asked_for() {
  sigset_t pending;
  sigpending(&pending);
  const std::array<int, 3> ends = {SIGINT, SIGTERM, SIGHUP};
  return std::ranges::any_of(ends, [&](int signal) { return sigismember(&pending, signal) == 1; });
}

Watch::Watch(WatchOptions options)
    : options_(std::move(options)),
      shows_progress_(options_.shows_progress),
      thread_(&Watch::run, this) {}

Watch::~Watch() {
  is_over_ = true;
  thread_.join();
  end_progress();
}

void Watch::run() {
  std::optional<Reason> ended;
  std::chrono::steady_clock::time_point kill_at{};
  std::chrono::steady_clock::time_point look_at{};
  while (!is_over_) {
    const int signal = next_signal();
    const auto now = std::chrono::steady_clock::now();
    if (signal == SIGUSR1) {
      clear_line();
      write_to_standard_error("zorbec: " + options_.status_line() + "\n");
    }
    const bool is_interrupt = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
    if (is_interrupt && ended == Reason::kInterrupted) {
      // The second Ctrl-C. The process ends by the signal itself, so that whoever started it sees
      // that: a shell then ends its loop or script too.
      options_.end_early(*ended, SIGKILL);
      ::signal(signal, SIG_DFL);
      sigset_t this_one;
      sigemptyset(&this_one);
      sigaddset(&this_one, signal);
      ::kill(::getpid(), signal);
      pthread_sigmask(SIG_UNBLOCK, &this_one, nullptr);
    }
    // After the deadline an interrupt still changes the reason, but the commands get no new grace.
    const bool is_late = options_.deadline && now - start_ >= *options_.deadline;
    if ((is_interrupt && ended != Reason::kInterrupted) || (is_late && !ended)) {
      if (!ended) kill_at = now + kGrace;
      ended = is_interrupt ? Reason::kInterrupted : Reason::kDeadline;
      options_.end_early(*ended, SIGTERM);
    }
    // Repeated at every look: a command may have been started just before the last one.
    if (ended && now >= kill_at) options_.end_early(*ended, SIGKILL);
    // A signal ends the wait early; progress keeps to its ten lines a second all the same.
    if (shows_progress_ && now >= look_at) {
      show_progress();
      look_at = now + kBetweenLooks;
    }
  }
}

void Watch::clear_line() {
  if (!options_.is_terminal) return;
  const MutexLock lock(mutex_);
  if (!shown_.empty()) write_to_standard_error("\r\x1b[K");
  shown_.clear();
}

void Watch::end_progress() {
  shows_progress_ = false;
  clear_line();
}

void Watch::show_progress() {
  // Asked before the lock is taken: the line comes from objects with locks of their own.
  const std::string line = options_.status_line();
  const MutexLock lock(mutex_);
  if (line == shown_ || !shows_progress_) return;
  shown_ = line;
  if (options_.is_terminal) {
    // A longer line would wrap, and "\r" goes back only to the start of its last row.
    write_to_standard_error("\r\x1b[K" + line.substr(0, columns_of_terminal() - 1));
  } else {
    write_to_standard_error(line + "\n");
  }
}

}  // namespace zorbec
