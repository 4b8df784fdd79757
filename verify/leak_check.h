#pragma once

#include <string>
#include <string_view>

#include "base/log_stream.h"
#include "tables/dump_tables.h"

namespace zorbec {

// Reports every key that no interface claimed as leaked, on standard output and in the log, unless
// the interface manager takes it for a bundle. Returns 0 if none was reported, else -1.
//
// Runs one command for each unclaimed key. Throws CheckError at an entry that is no record, and at
// a name that is no decimal number or that a shell would not take as one plain word.
int check_pmdb_leak(const PmdbTable& pmdb_dict, LogStream& dl_fd, const std::string& nodename);

// Asks the interface manager for `ifh`, which goes into the command as it stands. Returns 0 if the
// answer names a bundle, 1 otherwise: the key is to be reported.
int check_if_bundle_without_member(std::string_view ifh);

}  // namespace zorbec
