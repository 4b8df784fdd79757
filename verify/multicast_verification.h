#pragma once

#include "base/log_stream.h"

namespace zorbec {

// The multicast verdict: compares the routing entries of every route processor with what its own
// hardware holds for their tunnels, then with every line card's bud objects and hardware. Findings
// go to standard output; `dl_fd` gets the three tables.
//
// Entries are matched by number. Throws CheckError where an entry or a field that is to be compared
// is not there; what was found before stays, the rest is not checked.
void verify_mcast(LogStream& dl_fd);

}  // namespace zorbec
