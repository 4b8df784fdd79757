#include "context/shell_runner.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <string>

#include "base/error.h"
#include "base/files.h"
#include "context/paths.h"
#include "context/run_state.h"

namespace zorbec {
namespace {

void require_success(int error, const char* call) {
  if (error != 0) throw_error_number(error, call, paths::kShell);
}

// What the shell finds in place of our own standard streams.
class Redirections {
 public:
  Redirections() { require_success(posix_spawn_file_actions_init(&actions_), "posix_spawn"); }
  ~Redirections() { posix_spawn_file_actions_destroy(&actions_); }
  Redirections(const Redirections&) = delete;
  Redirections& operator=(const Redirections&) = delete;

  void add(const UniqueFd& from, int to) {
    require_success(posix_spawn_file_actions_adddup2(&actions_, from.get(), to), "posix_spawn");
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// Workers run with all signals blocked, and a host may ignore some; commands expect neither.
class PlainSignals {
 public:
  PlainSignals() {
    require_success(posix_spawnattr_init(&attributes_), "posix_spawn");
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGCHLD);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~PlainSignals() { posix_spawnattr_destroy(&attributes_); }
  PlainSignals(const PlainSignals&) = delete;
  PlainSignals& operator=(const PlainSignals&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

// Calls wait() until it says something else than that a signal came in between. False if the child
// is gone already, which it is when the host ignores SIGCHLD.
template <typename Wait>
bool waited(Wait wait, const char* call) {
  while (wait() < 0) {
    if (errno == ECHILD) return false;
    if (errno != EINTR) throw_errno(call, paths::kShell);
  }
  return true;
}

// A shell that was started. It is waited for in any case: one that is left behind would write into
// files of the next run, and its number would be somebody else's one day.
class Shell {
 public:
  Shell(pid_t pid, CommandsInFlight& in_flight) noexcept : pid_(pid), in_flight_(in_flight) {}
  ~Shell() {
    if (is_reaped_) return;
    in_flight_.remove(pid_);
    while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  // Waits for its end and reaps it. Returns its status as waitpid() gives it, -1 if nobody knows
  // it. Throws Interrupted if commands were told to end meanwhile.
  int wait() {
    in_flight_.add(pid_);
    siginfo_t ended{};
    const bool is_there =
        waited([&] { return ::waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT); },
               "waitid");
    const bool was_interrupted = in_flight_.remove(pid_);
    int status = -1;
    if (is_there) waited([&] { return ::waitpid(pid_, &status, 0); }, "waitpid");
    is_reaped_ = true;
    if (was_interrupted) throw Interrupted();
    return status;
  }

 private:
  const pid_t pid_;
  CommandsInFlight& in_flight_;
  bool is_reaped_ = false;
};

pid_t start_shell(const std::string& cmd, const UniqueFd& output, const UniqueFd& errors) {
  Redirections redirections;
  redirections.add(output, STDOUT_FILENO);
  redirections.add(errors, STDERR_FILENO);
  const PlainSignals signals;
  // posix_spawn takes its argument texts as non-const for historical reasons and leaves them alone.
  const std::array<char*, 4> argv = {const_cast<char*>("bash"), const_cast<char*>("-c"),
                                     const_cast<char*>(cmd.c_str()), nullptr};
  pid_t pid = 0;
  const int error =
      posix_spawn(&pid, paths::kShell, redirections.get(), signals.get(), argv.data(), environ);
  if (error != 0) {
    throw_error_number(error, "posix_spawn", paths::kShell + (" -c " + in_quotes(cmd)));
  }
  return pid;
}

}  // namespace

CommandResult ShellRunner::run(const Command& command, const std::function<void()>& started) {
  const std::shared_ptr<UniqueFd> errors = run_state().db_file.get();
  if (errors == nullptr) throw CheckError("no file is open for the errors of commands");

  const std::string path = paths::command_output(command.suffix);
  const UniqueFd output = run_state().files().create_fresh(path);

  in_flight_.require_running();
  started();
  CommandResult result;
  result.status = Shell(start_shell(std::string(command.line), output, *errors), in_flight_).wait();
  result.output = read_from_start(output, path);
  return result;
}

}  // namespace zorbec
