#pragma once

#include "host/report/exit_code.h"

namespace CLI {
class App;
}

namespace zorbec {

// Adds `explain`, which says from the dumps of a check what a key is, who expects it and who holds
// it. It runs no command and writes no file, so it may be used while a check runs, or on a copy of
// the dumps elsewhere. `exit_code` must live until the command line was parsed: 0 if it could be
// said, 3 if there is no dump to say it from. Wrong arguments throw CLI::ParseError.
void add_explain_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
