#pragma once

#include <string>
#include <string_view>

#include "base/log_stream.h"
#include "tables/node_record.h"

namespace zorbec {

// The body of one dump worker of the multicast check: what a node of this type holds, then its
// hardware's entries for all tunnel RIFs, once every route processor has reported its own. Other
// node types are treated like line cards on the router models whose processors forward themselves,
// and left alone on all others.
//
// Throws what the collectors throw; what comes after is not attempted.
void mcast_dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd,
                     std::string_view nodetype);

// The three collectors. Each runs its tool on the node, takes the printed text apart, makes the
// entries the node's place in its table, and leaves a rendering of the whole table in a file under
// /tmp. Nothing is written to `dl_fd`.
//
// They throw CheckError at a line that names a field but does not hold it as it must, or that
// belongs to no entry. The table then has the entries up to there, and the file stays empty.

// Multicast routing entries, into `mribkeys`; their tunnel RIFs also into `rifs`. Does nothing for
// the address "None".
void check_mrib_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

// MPLS multicast bud objects, into `mplsmdtbudobj`.
void check_mdtbudobj_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

// What the node's hardware holds for each tunnel RIF of `rifs`, into `mcastpmdbkeys`: entry k
// answers the k-th RIF, and is missing if the tool printed nothing for it. Does nothing for the
// address "None".
void check_pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
