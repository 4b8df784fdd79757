#pragma once

namespace zorbec::lab {

// One login on a node whose ssh or scp is damaged: does the damage, then what the login asks for,
// as far as the damage lets it. Runs on the node as the command that its ssh server forces.
// Returns the login's exit status.
//
// Throws std::system_error if the node's files cannot be read or its commands cannot be run.
int run_login();

}  // namespace zorbec::lab
