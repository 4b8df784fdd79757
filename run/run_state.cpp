#include "run/run_state.h"

#include <cassert>
#include <memory>

#include "run/node_table_pattern.h"
#include "run/observer.h"

namespace zorbec {
namespace {

// The process's one run state.
std::unique_ptr<RunState>& the_state() {
  static std::unique_ptr<RunState> state;
  return state;
}

}  // namespace

RunState::RunState() : sh_plat_vm_regex(std::make_shared<const NodeTablePattern>()) {}

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

Observer* the_observer() {
  return run_state_is_up() ? run_state().observer : nullptr;
}

}  // namespace zorbec
