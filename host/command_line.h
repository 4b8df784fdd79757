#pragma once

#include "host/report/exit_code.h"

namespace zorbec {

// Does what the command line of `zorbec` asks for. Returns the exit code of its subcommand;
// kWrongCommandLine if the command line is wrong, which is said on standard error. Throws what the
// subcommand throws.
ExitCode run_command_line(int argc, char** argv);

}  // namespace zorbec
