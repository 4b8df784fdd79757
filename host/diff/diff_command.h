#pragma once

#include "host/report/exit_code.h"

namespace CLI {
class App;
}

namespace zorbec {

// Adds `diff`, which compares two reports of a check. `exit_code` must live until the command line
// was parsed: 0 if nothing is new, 1 if something is, 3 if a report cannot be used or the result
// not be written. Wrong arguments throw CLI::ParseError.
void add_diff_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
