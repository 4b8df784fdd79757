#include "run/run_state.h"

#include <cassert>

namespace zorbec {
namespace {

// The process's one run state.
std::unique_ptr<RunState>& the_state() {
  static std::unique_ptr<RunState> state;
  return state;
}

}  // namespace

RunState::RunState()
    : sh_plat_vm_regex(R"(0/(\w+?)/CPU0\s+(LC|RP)\s\((ACTIVE|STANDBY)\)\s+(NONE|0/\w+?/CPU0)\s+)"
                       R"((\w+\s\w+)\s+()" ZORBEC_INTERNAL_OCTET R"(.\d+.\d+.\d+))") {}

RunState& run_state() {
  assert(run_state_is_up());
  return *the_state();
}

void bring_up_run_state() {
  the_state() = std::make_unique<RunState>();
}

void shut_down_run_state() {
  the_state().reset();
}

bool run_state_is_up() {
  return the_state() != nullptr;
}

}  // namespace zorbec
