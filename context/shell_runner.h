#pragma once

#include "context/command_runner.h"
#include "context/commands_in_flight.h"

namespace zorbec {

// Runs each command through the shell, as a child of this process.
//
// Its standard output goes to a fresh file under the name that the suffix gives and is read back
// from there: each call reads its own output, whatever runs beside it. Standard error goes to
// `db_file` of the run state, which must be open. Standard input is inherited.
class ShellRunner : public CommandRunner {
 public:
  // Throws CheckError if no file is open for the errors of commands; std::system_error (errno,
  // failed call, path) if the file of the output cannot be made or read, or the shell cannot be
  // started; Interrupted.
  CommandResult run(const Command& command, const std::function<void()>& started) override;
  void end(int signal) override { in_flight_.end(signal); }

 private:
  CommandsInFlight in_flight_;
};

}  // namespace zorbec
