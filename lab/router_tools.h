#pragma once

#include <string>
#include <vector>

namespace zorbec::lab {

// Answers one call of a simulated tool inside the sandbox and returns its exit status. argv[0] is
// the tool, with or without a folder.
//
// A simulated `ssh` runs no second process: the tool on the node answers in this one. With OpenSSH
// in the lab, `ssh` and `scp` are the real programs, and the tool runs on its node.
//
// Throws std::system_error if the router's folder cannot be read or the answer cannot be written,
// and std::invalid_argument if damage.txt is wrong.
int run_router_tool(const std::vector<std::string>& argv);

}  // namespace zorbec::lab
