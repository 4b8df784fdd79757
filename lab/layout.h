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

}  // namespace zorbec::lab
