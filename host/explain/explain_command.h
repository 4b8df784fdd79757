#pragma once

#include "host/report/exit_code.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the library's name
class App;
}

namespace zorbec {

// Adds the subcommand `explain`: from the dumps that a check left, it shows what a key is, which
// interfaces expect it and which nodes hold it. It runs no command and writes no file, so it may be
// used while a check runs, or on a copy of the dumps elsewhere.
//
// Parsing the command line runs it and sets `exit_code`, which must live until then: 0 if the key
// was explained, 3 if there are no dumps that can be used; standard error then says why. Wrong
// arguments throw CLI::ParseError.
void add_explain_command(CLI::App& app, ExitCode& exit_code);

}  // namespace zorbec
