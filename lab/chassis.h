#pragma once

#include <string>
#include <string_view>

namespace zorbec::lab {

// Checks that real ssh servers are possible here: this process is root, OpenSSH is installed, and
// the nodes in the folder `router` are named by IPv4 addresses. Changes nothing.
//
// Throws std::invalid_argument if one of these is not so.
void check_chassis(const std::string& router);

// Gives every node of the router an ssh server of its own, to which the real ssh and scp log in by
// key. A node has its address on the loopback interface, and its own mount and process namespace.
// `ssh_config` holds lines for the client's configuration; they go before the lab's own.
//
// Call it inside the finished sandbox, which must have its own network namespace. Returns when all
// servers listen.
//
// The servers are children of this process. A server, and all processes that it started, end when
// the server is killed or this process ends.
//
// Throws std::runtime_error if a server does not listen; the text holds what the server said.
// Throws std::system_error if a file, a mount or an address cannot be made.
void start_chassis(std::string_view ssh_config);

}  // namespace zorbec::lab
