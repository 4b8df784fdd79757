#pragma once

#include <memory>

#include "context/command_runner.h"
#include "context/run_files.h"

namespace zorbec {

// What a run works on: where its commands go, and where its files are. Chosen when the run state is
// brought up. Normally it is this_machine(); tests, fuzzers and the benchmark use imitations of a
// router.
struct Machine {
  std::unique_ptr<CommandRunner> commands;
  std::unique_ptr<RunFiles> files;
};

}  // namespace zorbec
