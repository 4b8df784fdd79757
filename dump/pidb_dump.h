#pragma once

#include <string>

#include "base/log_stream.h"

namespace zorbec {

// Gets the interface truth database (PIDB) of a line card: runs the dump tool on the card, copies
// the files here, loads each one that is not empty into the table of its class, and adds the
// expected keys. GRE tunnels are dumped only if the running configuration contains any.
//
// Called by the worker of the node; blocks as long as the commands run. `dl_fd` is not used. Throws
// what execute(), load_dump() and construct_pidb_truth_db() throw: above all if a copy is missing
// or is not valid JSON, or if expected keys cannot be derived. Then nothing more is fetched.
void pidb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
