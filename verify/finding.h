#pragma once

#include <string_view>

#include "run/log_stream.h"

namespace zorbec {

// Reports one finding: `for_operator` on standard output, in one write, and `for_log` to the log in
// its own wording. If standard output cannot be written, the finding is in the log before this
// throws std::system_error.
void report_finding(std::string_view for_operator, std::string_view for_log, LogStream& log);

}  // namespace zorbec
