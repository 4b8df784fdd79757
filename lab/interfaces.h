#pragma once

#include <cstdint>
#include <string>

namespace zorbec::lab {

// The classes, in the order in which the interface check reports them.
enum class InterfaceClass { kPhysical, kPhysicalSubif, kBundle, kBundleSubif, kBvi, kGre };

// One interface as a node's PIDB describes it. A field that its class does not have stays 0.
struct Interface {
  InterfaceClass interface_class;
  std::uint32_t handle = 0;
  std::string name;
  std::uint64_t rif = 0;  // routed interface id; a key holds its lower 16 bits
  std::uint64_t lif = 0;  // logical interface id; the same
  std::uint64_t ssp = 0;  // source system port
  unsigned slot = 0;      // of the card with the port; home card of a logical interface
  bool is_l2 = false;
  bool is_member = false;
  std::uint32_t bundle = 0;  // handle of a member's bundle
  std::uint64_t memid = 0;
  std::uint64_t lagid = 0;
  std::uint32_t parent = 0;  // handle of a sub-interface's port or bundle
  std::uint64_t erif = 0;
  std::uint64_t drif = 0;
};

}  // namespace zorbec::lab
