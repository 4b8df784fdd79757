#pragma once

#include "tables/node_record.h"

namespace zorbec {

// Both belong to the main thread of a run, in this order, after the router model is known.

// Lays down a skeleton record in `nodeinfo` for every node that the router model can have: two
// route processors and the line card slots. A record of the same name is replaced.
void nodeinfo_init();

// Fills in what the platform's node table says, or replaces the whole table by one fixed record on
// single-processor models, where no command runs. Returns `nodeinfo`.
//
// Throws CheckError for a line that names an unknown node or lacks a field; what the lines before
// it said stays.
const NodeInfo& get_list_of_vms();

}  // namespace zorbec
