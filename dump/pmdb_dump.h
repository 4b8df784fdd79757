#pragma once

#include <string>

#include "base/log_stream.h"

namespace zorbec {

// Gets the keys that a node's forwarding hardware holds (PMDB): runs the dump tool on the node,
// copies the file here and, if it is not empty, loads it into `pmdb_keys`. Does nothing for a node
// whose address is "None".
//
// Called by the worker of the node; blocks as long as the commands run. `dl_fd` is not used. Throws
// what execute() and load_dump() throw: above all if the copy is missing or is not valid JSON.
void pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
