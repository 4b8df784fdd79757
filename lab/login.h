#pragma once

namespace zorbec::lab {

// Serves one login on a node whose ssh or scp is damaged. The node's ssh server runs this in place
// of the command that the login asks for. It does the damage and then, if the damage lets it, runs
// that command.
//
// Returns the exit status of the login. Does not return if the command runs in its place.
//
// Throws std::system_error if a file of the node cannot be read or the command cannot be started,
// and std::invalid_argument if damage.txt is wrong.
int run_login();

}  // namespace zorbec::lab
