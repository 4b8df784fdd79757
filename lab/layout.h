#pragma once

// Where the parts of the lab stand inside the private mount namespace.
namespace zorbec::lab {

constexpr char kToolFolder[] = "/pkg/bin";

// The router folder given to `zorbec-lab run`.
constexpr char kRouterFolder[] = "/pkg/lab/router";

// One folder for each node, named by its address; each holds the node's own `tmp`.
constexpr char kNodeArea[] = "/pkg/lab/nodes";

// The program behind every tool.
constexpr char kProgram[] = "/pkg/lab/zorbec-lab";

// The file given with --calls; there only if one was given.
constexpr char kCallFile[] = "/pkg/lab/calls";

// When the lab started: nanoseconds of the monotonic clock, in decimal digits.
constexpr char kStartFile[] = "/pkg/lab/start";

// The address of the node that a mount namespace belongs to; empty on the route processor.
constexpr char kNodeFile[] = "/pkg/lab/node";

// What the nodes' ssh servers and the ssh client need; there only with --openssh.
constexpr char kSshFolder[] = "/pkg/lab/ssh";

// What a damaged node runs in place of what a login asks for.
constexpr char kLoginProgram[] = "/pkg/lab/login";

constexpr char kSftpServer[] = "/usr/lib/openssh/sftp-server";

}  // namespace zorbec::lab
