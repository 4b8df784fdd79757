#pragma once

#include <array>
#include <string_view>

// The names of the router's tools and of the files that they write.
namespace zorbec::lab {

// All simulated tools, as they stand in /pkg/bin.
inline constexpr std::array<std::string_view, 11> kRouterTools = {
    "ssh",        "scp",           "iftruth_dump", "tunnel_db_print",
    "hwkey_dump", "mcroute_print", "fwdobj_print", "relinfo_print",
    "confdump",   "nodemap_query", "ifmgr_print"};

// A file that a dump tool writes to the /tmp of its node.
struct DumpOfTool {
  std::string_view tool;
  std::string_view name;
};

inline constexpr std::array<DumpOfTool, 7> kDumpsOfTools = {{
    {"iftruth_dump", "pidb_physical.dat"},
    {"iftruth_dump", "pidb_physical_subif.dat"},
    {"iftruth_dump", "pidb_bundle.dat"},
    {"iftruth_dump", "pidb_bundle_subif.dat"},
    {"iftruth_dump", "pidb_bvi_intf.dat"},
    {"tunnel_db_print", "pidb_gre_intf.dat"},
    {"hwkey_dump", "pmdb.dat"},
}};

bool is_router_tool(std::string_view name);

bool is_dump_file(std::string_view name);

}  // namespace zorbec::lab
