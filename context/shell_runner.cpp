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

// How a command is run:
//
//   posix_spawn       bash, with standard output to a fresh file and standard error to `db_file`
//   waitid WNOWAIT    waits for its end, but leaves the zombie, which keeps the process id
//   remove            takes the id out of CommandsInFlight, so nobody can signal it any more
//   waitpid           reaps the zombie; from now on another process may get the id
//   read              reads the output back through the descriptor of the file
//
// The output goes to a file, not through a pipe, because it is kept there for operators. So nobody
// has to read while the command runs. posix_spawn, not fork(): the child of a process with many
// threads may do nearly nothing before exec(), and copying the page tables of a process with large
// dumps takes long. All descriptors of the library are close-on-exec, so a command inherits none of
// them but its standard streams.

// The file actions of posix_spawn: which descriptors become the shell's standard streams.
class Redirections {
 public:
  Redirections() { require_success(posix_spawn_file_actions_init(&actions_), "posix_spawn"); }
  ~Redirections() { posix_spawn_file_actions_destroy(&actions_); }
  Redirections(const Redirections&) = delete;
  Redirections& operator=(const Redirections&) = delete;

  // adddup2 also clears close-on-exec of the copy.
  void add(const UniqueFd& from, int to) {
    require_success(posix_spawn_file_actions_adddup2(&actions_, from.get(), to), "posix_spawn");
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// The attributes of posix_spawn: no signal is blocked in the shell, and SIGPIPE and SIGCHLD have
// their default action. Without this, it would inherit the worker's mask, which blocks all signals,
// and the signals that the host ignores. A command that ignores SIGPIPE, for example, may never
// end.
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

// Repeats wait() while it fails with EINTR. Returns false if there is no such child: if the host
// ignores SIGCHLD, the kernel reaps children itself, and wait functions return ECHILD when the
// child has ended.
template <typename Wait>
bool waited(Wait wait, const char* call) {
  while (wait() < 0) {
    if (errno == ECHILD) return false;
    if (errno != EINTR) throw_errno(call, paths::kShell);
  }
  return true;
}

// A running shell. The destructor waits for it in any case, also after an exception: a shell that
// is left running would write into the files of the next run, and one that is not reaped would
// remain as a zombie.
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

  // Blocks until the shell has ended, and reaps it. Returns its status as waitpid() gives it, or -1
  // if it is not known. Throws Interrupted if end() was called meanwhile: the output may be cut
  // short, and must not be taken for an answer.
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
  // posix_spawn declares its arguments as non-const, but does not change them.
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
  // The shared pointer keeps the descriptor open until the command has ended, whatever others do
  // with the slot. All commands share it, and so its offset: no text overwrites another.
  const std::shared_ptr<UniqueFd> errors = run_state().db_file.get();
  if (errors == nullptr) throw CheckError("no file is open for the errors of commands");

  const std::string path = paths::command_output(command.suffix);
  const UniqueFd output = run_state().files().create_fresh(path);

  // Checked here and in add(): end() may be called at any moment in between.
  in_flight_.require_running();
  started();
  CommandResult result;
  result.status = Shell(start_shell(command.line, output, *errors), in_flight_).wait();
  result.output = read_from_start(output, path);
  return result;
}

}  // namespace zorbec
