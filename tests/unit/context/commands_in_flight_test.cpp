#include "context/commands_in_flight.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace zorbec {
namespace {

// A process that does nothing until a signal ends it.
class Idle {
 public:
  Idle() : pid_(::fork()) {
    if (pid_ == 0) {
      for (;;) ::pause();
    }
  }
  Idle(const Idle&) = delete;
  Idle& operator=(const Idle&) = delete;
  ~Idle() {
    if (!is_reaped_) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
  }

  pid_t pid() const { return pid_; }

  // Waits for the signal that ends it.
  int ended_by() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    is_reaped_ = true;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }
  bool runs() const { return ::waitpid(pid_, nullptr, WNOHANG) == 0; }

 private:
  const pid_t pid_;
  bool is_reaped_ = false;
};

TEST(CommandsInFlight, as_long_as_nobody_ends_them_commands_may_start_and_end) {
  CommandsInFlight commands;
  const Idle shell;
  EXPECT_NO_THROW(commands.require_running());
  commands.add(shell.pid());
  EXPECT_FALSE(commands.remove(shell.pid()));
  EXPECT_TRUE(shell.runs());
}

TEST(CommandsInFlight, end_reaches_every_running_shell) {
  CommandsInFlight commands;
  Idle one;
  Idle two;
  commands.add(one.pid());
  commands.add(two.pid());
  commands.end(SIGTERM);
  EXPECT_EQ(one.ended_by(), SIGTERM);
  EXPECT_EQ(two.ended_by(), SIGTERM);
}

TEST(CommandsInFlight, end_leaves_alone_what_has_ended) {
  CommandsInFlight commands;
  const Idle shell;
  commands.add(shell.pid());
  commands.remove(shell.pid());
  commands.end(SIGKILL);
  EXPECT_TRUE(shell.runs());
}

TEST(CommandsInFlight, after_the_end_none_is_started) {
  CommandsInFlight commands;
  commands.end(SIGTERM);
  EXPECT_THROW(commands.require_running(), Interrupted);
}

TEST(CommandsInFlight, shell_that_was_just_started_is_ended_as_well) {
  CommandsInFlight commands;
  commands.end(SIGINT);
  Idle shell;
  commands.add(shell.pid());
  EXPECT_EQ(shell.ended_by(), SIGINT);
}

TEST(CommandsInFlight, answer_of_a_shell_that_was_told_to_end_is_not_to_be_used) {
  CommandsInFlight commands;
  Idle shell;
  commands.add(shell.pid());
  commands.end(SIGTERM);
  EXPECT_TRUE(commands.remove(shell.pid()));
}

TEST(CommandsInFlight, second_end_can_be_harder) {
  CommandsInFlight commands;
  Idle shell;
  commands.add(shell.pid());
  commands.end(0);
  EXPECT_TRUE(shell.runs());
  commands.end(SIGKILL);
  EXPECT_EQ(shell.ended_by(), SIGKILL);
}

}  // namespace
}  // namespace zorbec
