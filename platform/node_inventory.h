#pragma once

#include "tables/node_record.h"

namespace zorbec {

// Both are called by the main thread of a run, in this order, when `router` has the router model.

// Puts an empty record into `nodeinfo` for every node that the router model can have: two route
// processors and the line card slots. Replaces records of the same names.
void nodeinfo_init();

// Asks the platform for its node table, and fills the records with it. On single-processor models
// no command runs, and `nodeinfo` gets one fixed record only. Returns `nodeinfo`, which the run
// state owns.
//
// Throws what execute() throws, and CheckError at a line that names an unknown node or does not
// have all fields. What the lines before it have filled in stays.
const NodeInfo& get_list_of_vms();

}  // namespace zorbec
