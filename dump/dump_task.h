#pragma once

#include <string>

#include "base/log_stream.h"
#include "tables/node_record.h"

namespace zorbec {

// The task of one dump worker of the interface check: pidb_dump(), then pmdb_dump(), each only if
// the node record asks for it. Throws what they throw (and so what execute() throws), and
// CheckError if a field of the record is missing. After an exception nothing more is dumped.
void dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd);

}  // namespace zorbec
