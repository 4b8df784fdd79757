#pragma once

#include <unistd.h>

#include <iostream>
#include <string>

#include "base/log_stream.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {

// A node's verification log, and what went to standard output. The interface manager knows no
// bundle.
class NodeLogTest : public RunStateTest {
 protected:
  NodeLogTest() {
    tools.answer("ifmgr_print", "");
    tools.answer("confdump", "");
  }

  // A failure was reported into the captured stream.
  void TearDown() override {
    if (HasFailure()) std::cerr << standard_output.text();
  }

  std::string log_text() {
    dl_fd.flush();
    return read_text("/tmp/debug_logs_3.txt");
  }

  LogStream dl_fd{"/tmp/debug_logs_3.txt"};
  CapturedStream standard_output{STDOUT_FILENO};
};

}  // namespace zorbec::unit
