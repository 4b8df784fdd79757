#include "context/run_state.h"

#include <cassert>
#include <memory>
#include <utility>

#include "context/node_table_pattern.h"

namespace zorbec {
namespace {

// The one run state of the process; null if it is not up.
std::unique_ptr<RunState>& the_state() {
  static std::unique_ptr<RunState> state;
  return state;
}

}  // namespace

RunState::RunState(Machine works_on)
    : sh_plat_vm_regex(node_table_pattern()), machine(std::move(works_on)) {}

InterfaceTables& RunState::interfaces(InterfaceClass intf_class) {
  switch (intf_class) {
    case InterfaceClass::kPhysical:
      return pidb_physical_ifh;
    case InterfaceClass::kPhysicalSubif:
      return pidb_physical_subifh;
    case InterfaceClass::kBundle:
      return pidb_bundle_ifh;
    case InterfaceClass::kBundleSubif:
      return pidb_bundle_subifh;
    case InterfaceClass::kBvi:
      return pidb_bvi_ifh;
    case InterfaceClass::kGre:
      return pidb_gre_ifh;
  }
  std::abort();  // no class has another value
}

const InterfaceTables& RunState::interfaces(InterfaceClass intf_class) const {
  return const_cast<RunState*>(this)->interfaces(intf_class);
}

RunState& run_state() {
  assert(run_state_is_up());
  return *the_state();
}

void bring_up_run_state(Machine machine) {
  the_state() = std::make_unique<RunState>(std::move(machine));
}

void shut_down_run_state() {
  the_state().reset();
}

bool run_state_is_up() {
  return the_state() != nullptr;
}

}  // namespace zorbec
