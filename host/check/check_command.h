#pragma once

#include "host/report/exit_code.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's name
class App;
}

namespace zorbec {

// Adds the subcommand `check`: it runs one or both checks, judges the result and writes the report.
// Parsing the command line runs it, on the calling thread, and sets `exit_code`, which must live
// until then: 0 consistent, 1 inconsistent, 2 something not verified, 3 the run failed or the
// report could not be written. Wrong arguments throw CLI::ParseError; a lock that is held by
// another check or cannot be taken throws CheckError or std::system_error.
void add_check_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
