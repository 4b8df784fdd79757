#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace zorbec {

// One shell command of a check. The views are good for the length of the call that gets it.
struct Command {
  const std::string& line;        // complete, for the shell
  std::string_view suffix = "0";  // its output is kept in /tmp/zorbec<suffix>.log
  std::string_view node = {};     // address of the node that does the work; empty: this machine
};

// What became of a command that was started.
struct CommandResult {
  std::string output;  // all that it wrote on standard output, byte for byte
  int status = -1;     // as waitpid() gives it; -1: nobody knows
};

// Where the commands of a run go. A run gets its runner from outside; ShellRunner starts processes.
// All functions may be called from any thread at any time.
class CommandRunner {
 public:
  using Visit = std::function<void(const Command&)>;

  CommandRunner() = default;
  virtual ~CommandRunner() = default;
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;

  // Runs the command and blocks until it has ended, without time limit. Calls started() as soon as
  // it is certain that the command is started.
  //
  // A command that fails is no error. Throws Interrupted if end() was called, and CheckError or
  // std::system_error if the command cannot be run or its answer cannot be had.
  virtual CommandResult run(const Command& command, const std::function<void()>& started) = 0;

  // Tells beforehand which commands a worker is going to run, most likely all of them and in this
  // order. `each` calls its argument for each of them; it is good for the length of the call. A
  // runner may use that to ask for several answers at once; most do nothing.
  virtual void announce(const std::function<void(const Visit&)>& /*each*/) {}

  // Ends what runs, with `signal`, and from now on lets nothing be started.
  virtual void end(int signal) = 0;
};

}  // namespace zorbec
