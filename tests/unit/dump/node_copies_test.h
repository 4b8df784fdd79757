#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "base/log_stream.h"
#include "context/run_state.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {

// Nodes whose /tmp is a folder here, and from which files can be copied. Their tools print nothing
// and write nothing: a test lays down their dump files itself.
class NodeCopiesTest : public RunStateTest {
 protected:
  NodeCopiesTest() {
    std::filesystem::remove_all(kNodes);
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      if (entry.path().extension() == ".dat") std::filesystem::remove(entry.path());
    }
    run_state().router = 1;
    // scp root@ADDRESS:/tmp/FILE LOCAL
    tools.install("scp", "address=${1#root@}; file=" + kNodes +
                             "/${address%%:*}/${1##*/}\n"
                             "[ -f \"$file\" ] && cat \"$file\" >\"$2\"");
    tools.answer("ssh", "");
    tools.answer("confdump", "");
  }
  ~NodeCopiesTest() override { std::filesystem::remove_all(kNodes); }

  // Lays down a file in a node's /tmp.
  static void node_has(const std::string& address, const std::string& file, std::string_view text) {
    std::filesystem::create_directories(kNodes + "/" + address);
    write_text(kNodes + "/" + address + "/" + file, text);
  }
  static void node_lacks(const std::string& address, const std::string& file) {
    std::filesystem::remove(kNodes + "/" + address + "/" + file);
  }

  // What the operations wrote to the log that they were given.
  std::string log_text() {
    dl_fd.flush();
    return read_text("/tmp/debug_logs_test.txt");
  }

  LogStream dl_fd{"/tmp/debug_logs_test.txt"};

 private:
  static inline const std::string kNodes = "/tmp/nodes";
};

}  // namespace zorbec::unit
