#pragma once

#include <string>
#include <string_view>

namespace zorbec::lab {

// Throws std::invalid_argument if this machine or the router in the folder `router` cannot have
// real ssh servers: no root, no OpenSSH, a node whose name is no IPv4 address.
void check_chassis(const std::string& router);

// Makes every node of the sandbox's router a machine of its own: its address on the loopback
// interface, its own mounts and processes, and an ssh server to which the real ssh and scp log in
// by key. `ssh_config` are lines of the client's configuration that go before the lab's own.
//
// Needs a furnished sandbox with a network namespace of its own. The servers are children of this
// process; they and all that they started end when they are killed or this process ends. Returns
// when all of them listen.
//
// Throws std::runtime_error if a server cannot be started, with what it said.
void start_chassis(std::string_view ssh_config);

}  // namespace zorbec::lab
