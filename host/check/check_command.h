#pragma once

#include "host/report/exit_code.h"

namespace CLI {
class App;
}

namespace zorbec {

// Adds `check`, which runs one or both checks and judges what came of it. `exit_code` must live
// until the command line was parsed: 0 consistent, 1 inconsistent, 2 something not verified, 3 the
// run failed. Wrong arguments throw CLI::ParseError.
void add_check_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
