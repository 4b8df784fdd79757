#pragma once

#include <functional>
#include <string>

#include "base/error.h"

namespace zorbec {

// Completes the interface truth tables of one node when all its dumps are loaded: puts the handles
// of a bundle's sub-interfaces into its `subiflist`, and derives the `key_list` of every record. A
// class that was not loaded is left out.
//
// Call it once for each load: a second call would add sub-interfaces and the keys of members again.
// Only one thread at a time may work on a node's tables.
//
// Throws what construct_key_db() throws (and so what execute() throws), and CheckError if the
// parent of a bundle sub-interface is not a bundle of the node. Records after the failing one then
// have no keys.
void construct_pidb_truth_db(const std::string& nodename);

// The same, but gets as much as possible from a damaged dump. A CheckError at a record is passed to
// `failed`, the record has no keys, and the next records get theirs. Other exceptions, and what
// `failed` throws, leave the function.
void construct_pidb_truth_db(const std::string& nodename,
                             const std::function<void(const CheckError&)>& failed);

}  // namespace zorbec
