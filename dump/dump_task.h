#pragma once

#include <string>

#include "base/log_stream.h"
#include "tables/node_record.h"

namespace zorbec {

// The body of one dump worker of the interface check: the node's interface truth database, then its
// programmed keys, each if the node record asks for it. Throws what these throw, and CheckError if
// the record lacks a field; what comes after is not attempted.
void dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd);

}  // namespace zorbec
