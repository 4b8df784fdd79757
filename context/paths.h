#pragma once

#include <string>
#include <string_view>

// Every file under /tmp whose name is not built beside its only user, and the shell.
namespace zorbec::paths {

inline constexpr const char* kCommandErrors = "/tmp/output_file.txt";
inline constexpr const char* kFirstLog = "/tmp/debug_logs.txt";
inline constexpr const char* kMulticastVerificationLog = "/tmp/mcast_verify_debug_logs.txt";
inline constexpr const char* kStaleGreDump = "/tmp/pidb_gre_intf.dat";

// The tunnel command redirects both its outputs with ">&", which not every /bin/sh understands. And
// where a line is one command without redirection, bash becomes that command: to end it is to end
// the shell, and nothing stays between.
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
