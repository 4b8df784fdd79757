#pragma once

#include <cstdint>
#include <vector>

#include "lab/interfaces.h"

// The generator's own account of the keys that the hardware must hold. It shares no code with the
// checker, so that each can be held against the other.
namespace zorbec::lab {

struct KeyRules {
  int model;         // router model code, 1 to 9
  int bundle_scale;  // as configured: 256, 512, 1024 or another number
};

// True for the models that have one node and no node table.
bool is_single_processor(int model);

// One entry of one interface's key list. The same key may stand in several lists, and several
// times in one.
struct ExpectedKey {
  std::uint64_t key;
  std::uint32_t handle;            // of the interface whose list it is
  InterfaceClass interface_class;  // of that interface
};

struct NodeKeys {
  std::vector<ExpectedKey> listed;
  // Bundle members have no key list: their handle itself must be a key of every PMDB.
  std::vector<std::uint32_t> member_handles;
};

// The keys that the interfaces of one node call for. `slot` is the node's own. Every member's
// bundle must be among the interfaces; throws std::out_of_range otherwise.
NodeKeys expected_keys(const std::vector<Interface>& interfaces, unsigned slot,
                       const KeyRules& rules);

}  // namespace zorbec::lab
