#pragma once

#include <string>

#include "base/log_stream.h"
#include "tables/dump_tables.h"

namespace zorbec {

class SharedTruth;

// The verdict on one node: compares the expected keys of all interfaces, class by class, with the
// keys that the node's hardware holds, then looks for keys that no interface claimed. Headings,
// tables and results go to `dl_fd`, findings also to standard output.
//
// A node without a key map gets one line in its log and nothing else. Throws CheckError where a
// table cannot be read further; what was found before stays, what comes after is not checked.
//
// `truth` is shared with the workers of all other nodes; without one, what would be shared is made
// for this node alone.
void verify(const std::string& nodename, LogStream& dl_fd, SharedTruth& truth);
void verify(const std::string& nodename, LogStream& dl_fd);

// Compares one class: looks up every expected key of every node's interfaces in `pmdb_dict`, marks
// what is there as visited and reports what is not. Returns 0 if nothing is missing, else -1.
//
// An interface without a key list (a bundle member) counts as claiming the entry that is named like
// its handle, which must be there. Throws as verify() does.
int verify_intf_specific(const InterfaceTables& pidb_dict, PmdbTable& pmdb_dict, LogStream& dl_fd,
                         const std::string& nodename);

}  // namespace zorbec
