#pragma once

#include <string>

#include "base/log_stream.h"
#include "tables/dump_tables.h"

namespace zorbec {

class SharedTruth;

// Verifies one node. Compares the keys that all interfaces expect, class by class, with the keys
// that the node's hardware holds. Then runs check_pmdb_leak() for the keys that no interface has
// claimed. Headings, tables and results go to `dl_fd`; findings go there and to standard output.
//
// For a node without a key map, writes one line to the log and does nothing else. `truth` is shared
// with the workers of the other nodes. Without it, the shared objects are made for this node only.
//
// Called by the worker of the node, when no worker changes the interface tables any more. Throws
// CheckError if a table is malformed, std::system_error if the log or standard output cannot be
// written, and what execute() and the observer throw. What was found before stays; the rest is not
// checked.
void verify(const std::string& nodename, LogStream& dl_fd, SharedTruth& truth);
void verify(const std::string& nodename, LogStream& dl_fd);

// Compares one class: looks up every key that the interfaces of all nodes expect. Marks keys that
// are in `pmdb_dict` as visited, and reports the others as missing. Returns 0 if no key is missing,
// else -1. `nodename` is the node of `pmdb_dict`. Runs no command.
//
// An interface without a key list (a bundle member) marks the entry that is named like its handle.
// If there is none, throws CheckError. Throws also what verify() throws for tables, log and
// standard output.
int verify_intf_specific(const InterfaceTables& pidb_dict, PmdbTable& pmdb_dict, LogStream& dl_fd,
                         const std::string& nodename);

}  // namespace zorbec
