#pragma once

#include <string>
#include <string_view>

#include "base/log_stream.h"
#include "tables/node_record.h"

namespace zorbec {

// The task of one dump worker of the multicast check. First collects routing entries from a route
// processor ("RP"), or bud objects from a line card ("LC"). Then waits until all route processors
// have reported their tunnel RIFs, and collects the hardware's entries for them. Nodes of other
// types are treated like line cards on the router models whose processors forward packets
// themselves; on all other models nothing is collected from them.
//
// Throws what the collectors throw, and CheckError if the node record has no address. After an
// exception nothing more is collected.
void mcast_dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd,
                     std::string_view nodetype);

// The three collectors. Each runs its tool on the node, reads the printed text, stores the entries
// in the node's place of a table, and writes the whole table to a file under /tmp. `dl_fd` is not
// used. Called by the worker of the node.
//
// They throw what execute() and the observer throw, std::system_error if the file cannot be
// written, and CheckError at a line that names a field but has no readable value, or that belongs
// to no entry. The table then has the entries up to that line, and the file is empty.

// Multicast routing entries, into `mribkeys`. Their tunnel RIFs also go to `rifs`, even after an
// exception. For the address "None" only reports that there are no RIFs.
void check_mrib_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

// MPLS multicast bud objects, into `mplsmdtbudobj`.
void check_mdtbudobj_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

// The hardware's entries for each tunnel RIF of `rifs`, into `mcastpmdbkeys`. Entry k is for the
// k-th RIF; it does not exist if the tool prints no handle for that RIF. Does nothing for the
// address "None".
void check_pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
