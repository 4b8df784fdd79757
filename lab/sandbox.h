#pragma once

#include <string>
#include <vector>

namespace zorbec::lab {

struct RunOptions {
  std::string router;                // the router's folder
  std::string tmp;                   // folder that becomes the private /tmp; empty: one in memory
  std::string calls;                 // file that gets one line for each call; empty: none
  bool openssh = false;              // the nodes have real ssh servers
  std::string ssh_config;            // file with lines for the ssh client; empty: none
  std::vector<std::string> command;  // the program, looked up on the sandbox's PATH, and arguments
};

// Runs the command on the simulated router and returns the command's exit status (128 + N if signal
// N ended it). SIGINT and SIGTERM are passed on to the command. Processes that the command leaves
// running are killed.
//
// This process moves into a private mount namespace and stays there, so it can be called only once.
// Call it from a process with a single thread. Outside the namespace the lab changes only the
// folder `tmp` and the file `calls`.
//
// Throws std::runtime_error if the namespace cannot be made, or the command or an ssh server cannot
// be started. Throws std::invalid_argument if the router or an option is wrong.
int run_in_sandbox(const RunOptions& options);

}  // namespace zorbec::lab
