#pragma once

#include <string>
#include <vector>

// OpenSSH as the simulated tools see it: where they run, and how they call the real programs. The
// servers are started by lab/chassis.h.
namespace zorbec::lab {

// The address of the node on which this process runs; empty on the route processor. A node has a
// mount namespace of its own only with OpenSSH. Throws std::system_error.
std::string own_node();

// True if the sandbox was made with --openssh, so that ssh and scp are the real programs.
bool has_openssh();

// Runs the real ssh or scp, as argv[0] says, with these very arguments. Waits for its end and
// returns its exit status (128 + N if signal N ended it). If this process ends first, the program
// gets SIGTERM.
//
// Throws std::runtime_error if the program cannot be started.
int run_openssh(const std::vector<std::string>& argv);

}  // namespace zorbec::lab
