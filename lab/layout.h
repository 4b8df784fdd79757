#pragma once

// Paths inside the private mount namespace.
namespace zorbec::lab {

constexpr char kToolFolder[] = "/pkg/bin";

// The router folder given to `zorbec-lab run`.
constexpr char kRouterFolder[] = "/pkg/lab/router";

// Holds one folder for each node, named by the node's address. In it is the node's own `tmp`.
constexpr char kNodeArea[] = "/pkg/lab/nodes";

// This program. Every tool in kToolFolder is a link to it.
constexpr char kProgram[] = "/pkg/lab/zorbec-lab";

// The file given with --calls; missing without the option.
constexpr char kCallFile[] = "/pkg/lab/calls";

// The time at which the lab started: nanoseconds of the monotonic clock, in decimal digits.
constexpr char kStartFile[] = "/pkg/lab/start";

// The address of the node that owns the mount namespace; an empty file on the route processor.
constexpr char kNodeFile[] = "/pkg/lab/node";

// The files of the nodes' ssh servers and of the ssh client; missing without --openssh.
constexpr char kSshFolder[] = "/pkg/lab/ssh";

// A link to this program. A damaged node runs it in place of the command that a login asks for.
constexpr char kLoginProgram[] = "/pkg/lab/login";

// The program of OpenSSH that serves copies.
constexpr char kSftpServer[] = "/usr/lib/openssh/sftp-server";

}  // namespace zorbec::lab
