#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zorbec::lab {

// Nanoseconds of the monotonic clock.
std::int64_t monotonic_ns();

// Appends one line about a finished call of a simulated tool to the file given with --calls, in a
// single write, so that lines of simultaneous calls do not mix. Does nothing if no file was given.
// `start_ns` and `end_ns` are readings of monotonic_ns(). Throws std::system_error.
void log_call(const std::vector<std::string>& argv, std::int64_t start_ns, std::int64_t end_ns,
              int exit_status);

}  // namespace zorbec::lab
