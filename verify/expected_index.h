#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/enums.h"
#include "tables/dump_tables.h"
#include "tables/interface_class.h"

namespace zorbec {

// A numbered list of all keys that the router's interfaces expect.
//
// Every node must hold the keys of all interfaces of all nodes. With n nodes, the plain way looks
// up each key of each interface n times in a hash map. The index is made once for all nodes and
// gives each different key a number from 0. A node's own keys are then matched with the index once
// (KeyMatching), which gives an array: number -> entry of the node. After that, a look-up is an
// access to that array, and what a class expects is a list of numbers:
//
//   index            number -> key           0 -> 0x70000,  1 -> 0x40020005,  2 -> 0x5, ...
//   of(kPhysical)    what interfaces expect  0, 1, 2, 3, 1, 2, ...
//   node's matching  number -> entry         0 -> 17,  1 -> none: missing,  2 -> 4, ...
//
// The index is made for keys of 1 to 64 bits that are not 0, and for dumps that are objects. A
// class with anything else is not complete, and is compared in the plain way.
//
// Constant once made: safe from any thread.
class ExpectedIndex {
 public:
  // One key that one interface expects. If `number` is kNoKey, the interface has no key list, and
  // must be looked at itself.
  struct Expected {
    std::uint32_t number;
    std::uint32_t owner;  // the node of the interface, for owner()
    std::uint32_t entry;  // the interface's entry in the owner's table
  };
  // What the interfaces of one class expect.
  struct Class {
    // False if `keys` cannot express everything: a key is 0, negative or longer than 64 bits, or a
    // dump is not an object. Then the caller must go through the interfaces.
    bool is_complete = true;
    std::vector<Expected> keys;  // in the order in which the plain way looks them up
  };
  static constexpr std::uint32_t kNoKey = std::numeric_limits<std::uint32_t>::max();

  // A key of at most 32 bits, by number, with its sort value (json/name_order.h).
  struct Named {
    std::uint64_t order;
    std::uint32_t number;
  };
  // A node and its table of one class.
  using Owner = std::pair<std::string, InterfaceTable*>;

  // The tables must outlive the index and must not change any more. Throws std::bad_alloc.
  explicit ExpectedIndex(const EnumArray<InterfaceClass, const InterfaceTables*>& tables);

  const Class& of(InterfaceClass intf_class) const { return classes_[intf_class]; }
  const Owner& owner(std::uint32_t number) const { return owners_[number]; }

  // The number of different keys; the key with a number; the number of a key, if it has one.
  std::uint32_t size() const { return static_cast<std::uint32_t>(keys_.size()); }
  std::uint64_t key(std::uint32_t number) const { return keys_[number]; }
  std::optional<std::uint32_t> find(std::uint64_t key) const {
    const auto found = numbers_.find(key);
    if (found == numbers_.end()) return std::nullopt;
    return found->second;
  }
  // All keys of at most 32 bits, sorted like their decimal texts.
  const std::vector<Named>& by_name() const { return by_name_; }

 private:
  // The number of the key; a new one if it has none.
  std::uint32_t number(std::uint64_t key);
  // Adds what the interfaces of `table` expect. Its owner is the last of owners_.
  void add(const InterfaceTable& table, Class& to);

  boost::unordered_flat_map<std::uint64_t, std::uint32_t> numbers_;
  std::vector<std::uint64_t> keys_;
  std::vector<Named> by_name_;
  std::vector<Owner> owners_;
  EnumArray<InterfaceClass, Class> classes_;
};

}  // namespace zorbec
