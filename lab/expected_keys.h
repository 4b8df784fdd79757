#pragma once

#include <cstdint>
#include <vector>

#include "lab/interfaces.h"

// The generator computes by itself which keys the hardware must hold. It shares no code with the
// checker, so that a mistake in one of them shows.
namespace zorbec::lab {

struct KeyRules {
  int model;         // router model code, 1 to 9
  int bundle_scale;  // as configured: 256, 512, 1024 or another number
};

// True for the models that have one node and no node table.
bool is_single_processor(int model);

// One entry of the key list of an interface. The same key may be in several lists, and several
// times in one list.
struct ExpectedKey {
  std::uint64_t key;
  std::uint32_t handle;            // of the interface that owns the list
  InterfaceClass interface_class;  // of the same interface
};

struct NodeKeys {
  std::vector<ExpectedKey> listed;
  // A bundle member has no key list. Its handle itself must be a key in every PMDB.
  std::vector<std::uint32_t> member_handles;
};

// The keys that the interfaces of one node call for. `slot` is the slot of that node. Throws
// std::out_of_range if a member's bundle is not among the interfaces.
NodeKeys expected_keys(const std::vector<Interface>& interfaces, unsigned slot,
                       const KeyRules& rules);

}  // namespace zorbec::lab
