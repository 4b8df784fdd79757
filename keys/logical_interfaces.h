#pragma once

#include "tables/node_record.h"

namespace zorbec {

// Checks that all nodes report the same field values for each bundle. Looks at the nodes of
// `nodeinfo` that dump a PIDB. Sets `inconsistent` in every bundle record: 1 in the record of a
// node that differs from the first node that reports the bundle, and in that first node's record;
// else 0. The values are compared as a set: names, order and repetitions do not count.
//
// Writes the compared values to the log in `dl_fd` of the run state: for each bundle those of the
// first node, and of each node that differs.
//
// Call it when all dumps are loaded, before lists are added to bundle records, and while no worker
// runs. Throws CheckError if a record contains a list or an object or already has such a list, if a
// node record has no `pidb_dump`, or if no log is open; and what the log throws. Runs no command.
void check_pidb(const NodeInfo& nodeinfo);

}  // namespace zorbec
