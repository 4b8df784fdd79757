#pragma once

#include "tables/node_record.h"

namespace zorbec {

// Compares what the nodes of `nodeinfo` that dump a PIDB report of each bundle, and sets
// `inconsistent` in the bundles' records: 1 where a node's field values differ from those of the
// first node that reported the bundle, on both, otherwise 0. Values are compared as a set: names,
// order and repetitions do not count.
//
// What was compared goes to the log in `dl_fd`: for each bundle the first node's values, and those
// of each node that differs.
//
// To be called once all dumps are loaded and before lists are added to bundle records. Throws
// CheckError at a record that holds a list or an object, and at a node record without `pidb_dump`.
void check_pidb(const NodeInfo& nodeinfo);

}  // namespace zorbec
