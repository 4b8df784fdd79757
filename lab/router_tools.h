#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec::lab {

// The names of all simulated tools, as they stand in /pkg/bin.
const std::vector<std::string_view>& router_tool_names();

bool is_router_tool(std::string_view name);

// True for the names of the files that the dump tools write to a node's /tmp.
bool is_dump_file(std::string_view name);

// Answers one call of a simulated tool inside the sandbox and returns its exit status. argv[0] is
// the tool, with or without a folder. `ssh` answers for the tool on its node in this same process;
// with OpenSSH in the lab, `ssh` and `scp` are the real ones and the tool runs on its node.
//
// Throws std::system_error if the router folder cannot be read or the answer cannot be written,
// and std::invalid_argument if damage.txt is wrong.
int run_router_tool(const std::vector<std::string>& argv);

}  // namespace zorbec::lab
