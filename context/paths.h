#pragma once

#include <string>
#include <string_view>

// The paths under /tmp that are not built beside their only user, and the shell.
namespace zorbec::paths {

inline constexpr const char* kCommandErrors = "/tmp/output_file.txt";
inline constexpr const char* kFirstLog = "/tmp/debug_logs.txt";
inline constexpr const char* kMulticastVerificationLog = "/tmp/mcast_verify_debug_logs.txt";
inline constexpr const char* kStaleGreDump = "/tmp/pidb_gre_intf.dat";

// bash, for two reasons. The tunnel command redirects standard output and standard error with ">&",
// which not every /bin/sh understands. And bash replaces itself with a command that is alone on its
// line and has no redirection: then there is no shell between us and the command, and a signal to
// the shell reaches the command.
inline constexpr const char* kShell = "/bin/bash";

inline std::string node_log(std::string_view node) {
  return "/tmp/debug_logs_" + std::string(node) + ".txt";
}
inline std::string multicast_node_log(std::string_view node) {
  return "/tmp/mcast_debug_logs_" + std::string(node) + ".txt";
}
inline std::string command_output(std::string_view suffix) {
  return "/tmp/zorbec" + std::string(suffix) + ".log";
}

}  // namespace zorbec::paths
