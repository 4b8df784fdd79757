#pragma once

#include <string>
#include <string_view>

namespace zorbec {

// Runs `cmd` through the shell and returns everything it wrote on standard output, byte for byte.
//
// The output is kept in /tmp/zorbec<suffix>.log, which shows the command started last with that
// suffix; each call reads back its own output, whatever runs beside it. Standard error goes to
// `db_file`. Standard input is inherited. The exit status is not looked at.
//
// Blocks until the shell has ended, without time limit. Safe from any thread.
// Throws std::system_error (errno, failed call, path) if the file cannot be made or read, or the
// shell cannot be started. A failing *command* is not an error.
std::string execute(const std::string& cmd, std::string_view suffix = "0");

}  // namespace zorbec
