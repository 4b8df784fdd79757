#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "context/command_runner.h"

namespace zorbec {

// Runs `cmd` through the run's command runner and returns everything it wrote on standard output,
// byte for byte. `suffix` names the file under /tmp that keeps the output, /tmp/zorbec<suffix>.log;
// `node` is the address of the node that does the work, empty for a command of this machine.
//
// Blocks until the command has ended, without time limit. The exit status is not looked at: a
// command that fails is not an error. Safe from any thread; the observer is told before and after.
//
// Throws CheckError if `cmd` holds a NUL byte or no file is open for the errors of commands,
// Interrupted if the run was told to end, and std::system_error (errno, failed call, path) if the
// command cannot be started or its output not be kept and read back.
std::string execute(const std::string& cmd, std::string_view suffix = "0",
                    std::string_view node = {});

// Tells the run's command runner which commands the calling worker is going to execute().
void announce_commands(const std::function<void(const CommandRunner::Visit&)>& each);

}  // namespace zorbec
