#pragma once

#include "context/command_runner.h"
#include "context/commands_in_flight.h"

namespace zorbec {

// Runs each command with /bin/bash -c, as a child of this process.
//
// Standard output goes to a fresh file, /tmp/zorbec<suffix>.log, and is read back through the same
// descriptor. So each call reads its own output, even if another call with the same suffix replaces
// the file meanwhile. Standard error goes to `db_file` of the run state, which must be up. Standard
// input is inherited.
class ShellRunner : public CommandRunner {
 public:
  // Throws CheckError if `db_file` is not open, Interrupted if end() was called, and
  // std::system_error (errno, failed call, path) if the output file cannot be created or read, or
  // the shell cannot be started.
  CommandResult run(const Command& command, const std::function<void()>& started) override;
  void end(int signal) override { in_flight_.end(signal); }

 private:
  CommandsInFlight in_flight_;
};

}  // namespace zorbec
