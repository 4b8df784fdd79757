#pragma once

#include <string>
#include <string_view>

#include "base/log_stream.h"
#include "tables/dump_tables.h"

namespace zorbec {

// Reports every key that no interface has claimed as leaked, on standard output and in the log,
// except keys that belong to a bundle, says the interface manager. Returns 0 if no key was
// reported, else -1.
//
// Called by the worker of the node. Runs one or two commands for each unclaimed key, which may take
// long. Throws CheckError at an unclaimed entry that is not an object, or whose name is not a
// decimal number or not one plain word for a shell; std::system_error if the log or standard output
// cannot be written; and what execute() and the observer throw.
int check_pmdb_leak(const PmdbTable& pmdb_dict, LogStream& dl_fd, const std::string& nodename);

// Asks the interface manager about the key `ifh`. Returns 0 if its answer names a bundle, else 1:
// then the key has to be reported.
//
// `ifh` is put into the command without quotes, so the caller must have checked that it is one
// plain word. Throws what execute() throws. Safe from any thread.
int check_if_bundle_without_member(std::string_view ifh);

}  // namespace zorbec
