#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "context/command_runner.h"

namespace zorbec {

// Runs `cmd` through the run's command runner and returns everything that it wrote to standard
// output, byte for byte. The output is kept in /tmp/zorbec<suffix>.log. `node` is the address of
// the node that does the work; empty for a command of this machine.
//
// Blocks until the command has ended, without time limit. Its exit status is not looked at: a
// command that fails is not an error. The observer is told before and after. The run state must be
// up. Safe from any thread.
//
// Throws
//   - CheckError if `cmd` contains a NUL byte, or if no file is open for the errors of commands
//     (`db_file` of the run state)
//   - Interrupted, which is a CheckError, if the run was told to end
//   - std::system_error (errno, failed call, path) if the command cannot be started, or the file
//     with its output cannot be created or read
//   - what the observer throws.
std::string execute(const std::string& cmd, std::string_view suffix = "0",
                    std::string_view node = {});

// Tells the run's command runner which commands the calling worker is going to execute(); see
// CommandRunner::announce().
void announce_commands(const std::function<void(const CommandRunner::Visit&)>& each);

}  // namespace zorbec
