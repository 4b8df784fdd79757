#pragma once

#include <functional>
#include <string>

#include "base/error.h"

namespace zorbec {

// Completes one node's part of the six interface truth tables after its dumps were loaded: lists
// each bundle's sub-interfaces in the bundle's `subiflist` and gives every record its `key_list`.
// A class that was not loaded for the node is left out.
//
// To be called once for each load: another call lists sub-interfaces and members' keys twice.
//
// Throws what construct_key_db() throws, and CheckError if a bundle sub-interface has no usable
// parent; records after the failing one then have no keys.
void construct_pidb_truth_db(const std::string& nodename);

// The same for who wants as much as can be had of a damaged dump: a record that fails is left
// without keys and what was thrown goes to `failed`; the records after it get theirs.
void construct_pidb_truth_db(const std::string& nodename,
                             const std::function<void(const CheckError&)>& failed);

}  // namespace zorbec
