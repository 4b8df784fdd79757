#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "base/files.h"
#include "context/paths.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "tests/unit/support/tool_box.h"

namespace zorbec::unit {

// A fresh run state, as a run finds it once the file for the errors of commands is open.
class RunStateTest : public ::testing::Test {
 protected:
  RunStateTest() {
    bring_up_run_state(this_machine());
    run_state().db_file.set(std::make_shared<UniqueFd>(create_fresh_file(paths::kCommandErrors)));
  }
  ~RunStateTest() override { shut_down_run_state(); }

  ToolBox tools;
};

}  // namespace zorbec::unit
