#pragma once

#include "host/report/exit_code.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's name
class App;
}

namespace zorbec {

// Adds the subcommand `diff`, which compares two reports of checks. Parsing the command line runs
// it and sets `exit_code`, which must live until then: 0 if there is no new confirmed finding, 1 if
// there is one, 3 if a report cannot be used or the result cannot be written; standard error then
// says why. Wrong arguments throw CLI::ParseError.
void add_diff_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
