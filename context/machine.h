#pragma once

#include <memory>

#include "context/command_runner.h"
#include "context/run_files.h"

namespace zorbec {

// What a run works on. Whoever brings the run state up chooses it: this machine, or for tests,
// fuzzers and measurements something that only behaves like a router.
struct Machine {
  std::unique_ptr<CommandRunner> commands;
  std::unique_ptr<RunFiles> files;
};

}  // namespace zorbec
