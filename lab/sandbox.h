#pragma once

#include <string>
#include <vector>

namespace zorbec::lab {

struct RunOptions {
  std::string router;                // the router's folder
  std::string tmp;                   // keeps the private /tmp; empty: it goes with the command
  std::string calls;                 // file for one line a call; empty: none is kept
  bool openssh = false;              // nodes with real ssh servers
  std::string ssh_config;            // file with lines for the ssh client; empty: none
  std::vector<std::string> command;  // at least the program, looked up on the sandbox's PATH
};

// Runs the command on the simulated router, in a private mount namespace that this process moves
// into, and returns the command's exit status (128 + N if signal N ended it). SIGINT and SIGTERM
// are passed on to the command. Processes that the command leaves behind are killed.
//
// Only the --tmp folder and the call file are changed outside the namespace. Call it once, from a
// process with a single thread.
//
// Throws std::runtime_error if the namespace cannot be made or the command or an ssh server cannot
// be started, and std::invalid_argument if the router or one of the options is wrong.
int run_in_sandbox(const RunOptions& options);

}  // namespace zorbec::lab
