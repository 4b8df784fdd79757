#include "host/watch.h"

#include <unistd.h>

#include <csignal>
#include <ctime>

#include "run/error.h"
#include "run/files.h"
#include "run/log_stream.h"

namespace zorbec {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{100};
constexpr std::chrono::seconds kGrace{2};  // for commands that were told to end

// What nohup and shells' background jobs had ignored stays ignored.
bool is_ignored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watched_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  // SIGPIPE is only kept from ending the process: whoever writes sees the error.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGPIPE}) {
    if (!is_ignored(signal)) sigaddset(&signals, signal);
  }
  return signals;
}

void write_to_standard_error(const std::string& text) {
  try {
    write_all(STDERR_FILENO, text, "standard error");
  } catch (const std::exception&) {
    return;  // nobody is there to be told
  }
}

// One of the watched signals, 0 if none came within the time of a look.
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
  const sigset_t signals = watched_signals();
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

Watch::Watch(WatchOptions options) : options_(std::move(options)), thread_(&Watch::run, this) {}

Watch::~Watch() {
  is_over_ = true;
  thread_.join();
}

void Watch::run() {
  std::optional<Reason> ended;
  std::chrono::steady_clock::time_point kill_at{};
  std::chrono::steady_clock::time_point look_at{};
  while (!is_over_) {
    const int signal = next_signal();
    const auto now = std::chrono::steady_clock::now();
    if (signal == SIGUSR1) write_to_standard_error("zorbec: " + options_.status_line() + "\n");
    const bool is_interrupt = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
    if (is_interrupt && ended == Reason::kInterrupted) {
      ::signal(signal, SIG_DFL);
      sigset_t this_one;
      sigemptyset(&this_one);
      sigaddset(&this_one, signal);
      ::kill(::getpid(), signal);
      pthread_sigmask(SIG_UNBLOCK, &this_one, nullptr);
    }
    const bool is_late = options_.deadline && now - start_ >= *options_.deadline;
    if ((is_interrupt && ended != Reason::kInterrupted) || (is_late && !ended)) {
      if (!ended) kill_at = now + kGrace;
      ended = is_interrupt ? Reason::kInterrupted : Reason::kDeadline;
      options_.end_early(*ended, SIGTERM);
    }
    if (ended && now >= kill_at) options_.end_early(*ended, SIGKILL);
    // A wait may end before its time.
    if (options_.shows_progress && now >= look_at) {
      show_progress(false);
      look_at = now + kBetweenLooks;
    }
  }
  if (options_.shows_progress) show_progress(true);
}

void Watch::show_progress(bool is_over) {
  const std::string line = is_over ? std::string() : options_.status_line();
  if (line == shown_) return;
  shown_ = line;
  if (options_.is_terminal) {
    write_to_standard_error("\r\x1b[K" + line);
  } else if (!line.empty()) {
    write_to_standard_error(line + "\n");
  }
}

}  // namespace zorbec
