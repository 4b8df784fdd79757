#pragma once

#include "base/log_stream.h"

namespace zorbec {

// Verifies the multicast state. Compares the routing entries of every route processor first with
// its own hardware's entries for their tunnels, then with the bud objects and the hardware entries
// of every line card. Entries with the same number belong together. Findings go to standard output;
// the three tables go to `dl_fd`.
//
// Called by one worker, when all dumps have ended. Runs no command. Throws CheckError if an entry
// or a field that must be compared is missing, std::system_error if the log or standard output
// cannot be written, and what the observer throws. What was found before stays; the rest is not
// checked.
void verify_mcast(LogStream& dl_fd);

}  // namespace zorbec
