#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zorbec::lab {

// The monotonic clock, in nanoseconds.
std::int64_t monotonic_ns();

// Appends one line about a finished call of a simulated tool to the file given with --calls. Does
// nothing if no file was given. The line is one write, so lines of calls at the same time do not
// mix. `start_ns` and `end_ns` come from monotonic_ns(). Throws std::system_error if the file
// cannot be opened or written.
void log_call(const std::vector<std::string>& argv, std::int64_t start_ns, std::int64_t end_ns,
              int exit_status);

}  // namespace zorbec::lab
