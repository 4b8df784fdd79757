#pragma once

#include "host/report/exit_code.h"

namespace zorbec {

// Runs the subcommand that the command line of `zorbec` names and returns its exit code. If the
// command line is wrong, says so on standard error and returns kWrongCommandLine. Throws what the
// subcommand throws. To be called once, from the main thread, before any other thread is started.
ExitCode run_command_line(int argc, char** argv);

}  // namespace zorbec
