#include "host/check/watch.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/process.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What is waited for comes within a look of the watch; nothing is waited for in vain as long.
constexpr std::chrono::seconds kLongest{30};

// A call of end_early().
struct EarlyEnd {
  Reason reason;
  int signal;

  bool operator==(const EarlyEnd&) const = default;
};
std::ostream& operator<<(std::ostream& out, const EarlyEnd& end) {
  return out << reason_text(end.reason) << " with signal " << end.signal;
}

// What a watch asks for, and a wait until it has.
class Asked {
 public:
  WatchOptions options() {
    WatchOptions options;
    options.status_line = [this] {
      const std::lock_guard lock(mutex_);
      ++looks_;
      changed_.notify_all();
      return line_;
    };
    options.end_early = [this](Reason reason, int signal) {
      const std::lock_guard lock(mutex_);
      ends_.push_back({reason, signal});
      changed_.notify_all();
    };
    return options;
  }
  void set_line(const std::string& line) {
    const std::lock_guard lock(mutex_);
    line_ = line;
    looks_ = 0;
  }

  // The first calls of end_early(), once there are as many.
  std::vector<EarlyEnd> ends(std::size_t count) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kLongest, [&] { return ends_.size() >= count; }));
    return {ends_.begin(),
            ends_.begin() + static_cast<std::ptrdiff_t>(std::min(count, ends_.size()))};
  }
  // Whether that call comes.
  bool is_called(const EarlyEnd& end) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kLongest, [&] { return std::ranges::count(ends_, end) > 0; });
  }
  std::vector<EarlyEnd> ends() {
    const std::lock_guard lock(mutex_);
    return ends_;
  }
  // Waits until the line was asked for twice more: what was made of it first is written then.
  void wait_for_looks(int count = 2) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kLongest, [&] { return looks_ >= count; }));
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string line_ = "interfaces, dump";
  int looks_ = 0;
  std::vector<EarlyEnd> ends_;
};

// To the process, as a terminal or kill(1) does it: whichever thread does not block it takes it.
void send_signal(int signal) {
  ASSERT_EQ(::kill(::getpid(), signal), 0);
}

// Waits until `stream` holds what is expected, or for long enough.
std::string text_with(const unit::CapturedStream& stream, const std::string& expected) {
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (stream.text().find(expected) == std::string::npos &&
         std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return stream.text();
}

constexpr std::array kWatched = {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGPIPE, SIGXFSZ};

// For its lifetime, no watched signal is ignored: whoever started the tests may have had it so.
class DefaultActions {
 public:
  DefaultActions() {
    std::ranges::transform(kWatched, before_.begin(),
                           [](int signal) { return std::signal(signal, SIG_DFL); });
  }
  ~DefaultActions() {
    for (std::size_t at = 0; at < kWatched.size(); ++at) std::signal(kWatched[at], before_[at]);
  }
  DefaultActions(const DefaultActions&) = delete;
  DefaultActions& operator=(const DefaultActions&) = delete;

 private:
  std::array<void (*)(int), kWatched.size()> before_{};
};

class WatchTest : public ::testing::Test {
 protected:
  Asked asked;

 private:
  DefaultActions actions_;
  SignalsForWatch signals_;
};

TEST_F(WatchTest, deadline_ends_the_check_first_gently_then_for_certain) {
  WatchOptions options = asked.options();
  options.deadline = std::chrono::milliseconds(1);
  const auto start = std::chrono::steady_clock::now();
  const Watch watch(options);
  EXPECT_THAT(asked.ends(2), ElementsAre(EarlyEnd{Reason::kDeadline, SIGTERM},
                                         EarlyEnd{Reason::kDeadline, SIGKILL}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  // A command that is started later is ended as well.
  EXPECT_EQ(asked.ends(3).back(), (EarlyEnd{Reason::kDeadline, SIGKILL}));
}

TEST_F(WatchTest, nothing_is_ended_before_the_deadline) {
  WatchOptions options = asked.options();
  options.deadline = std::chrono::hours(1);
  options.shows_progress = true;
  {
    const unit::CapturedStream error(STDERR_FILENO);
    const Watch watch(options);
    asked.wait_for_looks(3);
  }
  EXPECT_THAT(asked.ends(), IsEmpty());
}

struct SignalCase : unit::Row {
  int signal;
};

class InterruptBy : public WatchTest, public ::testing::WithParamInterface<SignalCase> {};

TEST_P(InterruptBy, signal_ends_the_check) {
  const Watch watch(asked.options());
  send_signal(GetParam().signal);
  EXPECT_THAT(asked.ends(1), ElementsAre(EarlyEnd{Reason::kInterrupted, SIGTERM}));
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptBy,
                         ::testing::Values(SignalCase{"sigint", SIGINT},
                                           SignalCase{"sigterm", SIGTERM},
                                           SignalCase{"sighup", SIGHUP}),
                         unit::row_name<SignalCase>);

TEST_F(WatchTest, commands_that_ignore_an_interrupt_are_killed) {
  const Watch watch(asked.options());
  send_signal(SIGINT);
  EXPECT_THAT(asked.ends(2), ElementsAre(EarlyEnd{Reason::kInterrupted, SIGTERM},
                                         EarlyEnd{Reason::kInterrupted, SIGKILL}));
}

TEST_F(WatchTest, interrupt_after_the_deadline_counts_more) {
  WatchOptions options = asked.options();
  options.deadline = std::chrono::milliseconds(1);
  const Watch watch(options);
  ASSERT_THAT(asked.ends(1), ElementsAre(EarlyEnd{Reason::kDeadline, SIGTERM}));
  send_signal(SIGINT);
  EXPECT_TRUE(asked.is_called({Reason::kInterrupted, SIGTERM}));
}

// How a child ends whose watch is told of the same signal twice.
int status_after_two(int signal) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    const SignalsForWatch signals;
    Asked asked_in_child;
    const Watch watch(asked_in_child.options());
    send_signal(signal);
    asked_in_child.ends(1);
    send_signal(signal);
    std::this_thread::sleep_for(kLongest);
    ::_exit(0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(pid, &status, 0), pid);
  return status;
}

TEST_P(InterruptBy, second_signal_ends_the_process) {
  const int status = status_after_two(GetParam().signal);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), GetParam().signal);
}

// Waiting for a lock, the process has no watch yet.
TEST_P(InterruptBy, signal_is_known_before_there_is_a_watch) {
  EXPECT_FALSE(SignalsForWatch::is_end_asked_for());
  send_signal(GetParam().signal);
  EXPECT_TRUE(SignalsForWatch::is_end_asked_for());
  const Watch watch(asked.options());
  EXPECT_THAT(asked.ends(1), ElementsAre(EarlyEnd{Reason::kInterrupted, SIGTERM}));
}

TEST_F(WatchTest, question_for_the_status_asks_for_no_end) {
  send_signal(SIGUSR1);
  EXPECT_FALSE(SignalsForWatch::is_end_asked_for());
}

TEST_F(WatchTest, status_is_one_line_on_standard_error) {
  const unit::CapturedStream error(STDERR_FILENO);
  const Watch watch(asked.options());
  send_signal(SIGUSR1);
  EXPECT_EQ(text_with(error, "\n"), "zorbec: interfaces, dump\n");
  EXPECT_THAT(asked.ends(), IsEmpty());
}

TEST_F(WatchTest, progress_is_not_shown_unasked) {
  const unit::CapturedStream error(STDERR_FILENO);
  { const Watch watch(asked.options()); }
  EXPECT_EQ(error.text(), "");
}

TEST_F(WatchTest, progress_is_a_line_whenever_it_changes) {
  const unit::CapturedStream error(STDERR_FILENO);
  {
    WatchOptions options = asked.options();
    options.shows_progress = true;
    const Watch watch(options);
    asked.wait_for_looks();
    asked.set_line("interfaces, verification");
    asked.wait_for_looks();
  }
  EXPECT_EQ(error.text(), "interfaces, dump\ninterfaces, verification\n");
}

TEST_F(WatchTest, terminal_has_one_line_that_is_rewritten_and_cleared) {
  const unit::CapturedStream error(STDERR_FILENO);
  {
    WatchOptions options = asked.options();
    options.shows_progress = options.is_terminal = true;
    const Watch watch(options);
    asked.wait_for_looks();
  }
  EXPECT_EQ(error.text(), "\r\x1b[Kinterfaces, dump\r\x1b[K");
}

TEST_F(WatchTest, line_that_does_not_fit_a_terminal_is_cut) {
  const unit::CapturedStream error(STDERR_FILENO);
  asked.set_line(std::string(200, 'x'));
  WatchOptions options = asked.options();
  options.shows_progress = options.is_terminal = true;
  const Watch watch(options);
  asked.wait_for_looks();
  EXPECT_EQ(error.text(), "\r\x1b[K" + std::string(79, 'x'));
}

TEST_F(WatchTest, somebody_elses_line_gets_room_and_progress_comes_back) {
  const unit::CapturedStream error(STDERR_FILENO);
  {
    WatchOptions options = asked.options();
    options.shows_progress = options.is_terminal = true;
    Watch watch(options);
    asked.wait_for_looks();
    watch.clear_line();
    asked.set_line("interfaces, dump");
    asked.wait_for_looks();
  }
  EXPECT_EQ(error.text(), "\r\x1b[Kinterfaces, dump\r\x1b[K\r\x1b[Kinterfaces, dump\r\x1b[K");
}

TEST_F(WatchTest, clearing_writes_nothing_where_nothing_is_rewritten) {
  const unit::CapturedStream error(STDERR_FILENO);
  WatchOptions options = asked.options();
  options.shows_progress = true;
  Watch watch(options);
  asked.wait_for_looks();
  watch.clear_line();
  EXPECT_EQ(error.text(), "interfaces, dump\n");
}

TEST_F(WatchTest, ended_progress_stays_so) {
  const unit::CapturedStream error(STDERR_FILENO);
  WatchOptions options = asked.options();
  options.shows_progress = options.is_terminal = true;
  Watch watch(options);
  asked.wait_for_looks();
  watch.end_progress();
  asked.set_line("interfaces, verification");
  send_signal(SIGUSR1);
  EXPECT_EQ(text_with(error, "\n"),
            "\r\x1b[Kinterfaces, dump\r\x1b[Kzorbec: interfaces, verification\n");
}

TEST_F(WatchTest, no_thread_is_left) {
  { const Watch watch(asked.options()); }
  EXPECT_TRUE(unit::comes_down_to_one_thread());
}

// Signals that are watched.

bool is_blocked(int signal) {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

TEST(SignalsForWatch, are_blocked_as_long_as_it_lives) {
  const DefaultActions actions;
  {
    const SignalsForWatch signals;
    for (const int signal : kWatched) {
      EXPECT_TRUE(is_blocked(signal)) << signal;
    }
    EXPECT_FALSE(is_blocked(SIGQUIT));
  }
  for (const int signal : kWatched) {
    EXPECT_FALSE(is_blocked(signal)) << signal;
  }
}

TEST(SignalsForWatch, what_nobody_took_is_forgotten) {
  const DefaultActions actions;
  {
    const SignalsForWatch signals;
    send_signal(SIGTERM);
    send_signal(SIGUSR1);
  }
  // The process goes on.
  EXPECT_FALSE(SignalsForWatch::is_end_asked_for());
}

TEST(SignalsForWatch, ignored_signal_stays_ignored) {
  const DefaultActions actions;
  std::signal(SIGHUP, SIG_IGN);
  const SignalsForWatch signals;
  EXPECT_FALSE(is_blocked(SIGHUP));
  EXPECT_TRUE(is_blocked(SIGTERM));
  send_signal(SIGHUP);
  EXPECT_FALSE(SignalsForWatch::is_end_asked_for());
}

}  // namespace
}  // namespace zorbec
