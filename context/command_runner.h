#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace zorbec {

// One shell command of a check. The reference and the views are valid only during the call that
// gets it.
struct Command {
  const std::string& line;        // the whole command line, for the shell
  std::string_view suffix = "0";  // its output is kept in /tmp/zorbec<suffix>.log
  std::string_view node = {};     // address of the node that does the work; empty: this machine
};

// The result of a command.
struct CommandResult {
  std::string output;  // everything that it wrote to standard output, byte for byte
  int status = -1;     // as waitpid() gives it; -1: not known
};

// Runs the commands of a check. The run state gets its runner from outside; ShellRunner, which
// starts processes, is one of several. All functions must be safe from any thread at any time.
class CommandRunner {
 public:
  using Visit = std::function<void(const Command&)>;

  CommandRunner() = default;
  virtual ~CommandRunner() = default;
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;

  // Runs the command and blocks until it has ended, without time limit. Calls started() once, when
  // nothing but starting the command is left to do.
  //
  // A command that fails is not an error. Throws Interrupted if end() was called, and CheckError or
  // std::system_error if the command cannot be run or its output cannot be read. What started()
  // throws leaves the function, and the command is not run.
  virtual CommandResult run(const Command& command, const std::function<void()>& started) = 0;

  // Says which commands the calling worker is going to run, most likely all of them and in this
  // order. `each` calls its argument for each command; it is valid only during the call. A runner
  // may use this to get several answers at once. Most do nothing.
  virtual void announce(const std::function<void(const Visit&)>& /*each*/) {}

  // Sends `signal` to all running commands. From now on run() throws Interrupted. Does not wait.
  virtual void end(int signal) = 0;
};

}  // namespace zorbec
