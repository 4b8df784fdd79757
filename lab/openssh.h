#pragma once

#include <string>
#include <vector>

// OpenSSH in the lab, as the tools that run there see it. lab/chassis.h starts it.
namespace zorbec::lab {

// The address of the node on which this process runs; empty on the route processor itself.
std::string own_node();

// True if ssh and scp are to be the real ones.
bool has_openssh();

// Runs the real ssh or scp, whichever argv[0] names, with these very arguments and returns its exit
// status (128 + N if signal N ended it). It goes with this process.
//
// Throws std::system_error if it cannot be started.
int run_openssh(const std::vector<std::string>& argv);

}  // namespace zorbec::lab
