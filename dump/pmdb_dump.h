#pragma once

#include <string>

#include "base/log_stream.h"

namespace zorbec {

// Brings the keys that a node's forwarding hardware holds here: has its tool dump them, copies the
// file back and, unless it is empty, loads it into `pmdb_keys`. Does nothing for a node whose
// address is "None".
//
// Nothing is written to `dl_fd`. Throws if the copy is missing or is not valid JSON.
void pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
