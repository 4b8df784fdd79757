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

// All keys that the interfaces of the router expect, each numbered once.
//
// Every node's hardware has to hold nearly the same keys, so looking each key of each interface up
// in every node is the same work again and again. With numbers, a node's own keys are matched once,
// and what a class expects is a list of numbers.
class ExpectedIndex {
 public:
  // A key that an interface expects; or, with kNoKey for its number, an interface that has no keys
  // of its own and so has to be looked at itself.
  struct Expected {
    std::uint32_t number;
    std::uint32_t owner;  // whose interface it is, as owner() counts
    std::uint32_t entry;  // the interface in its owner's table
  };
  // What one class expects.
  struct Class {
    // Whether `keys` tells all of it. Not if a key is no plain word, or if a dump is no table: then
    // the interfaces have to be gone through.
    bool is_complete = true;
    std::vector<Expected> keys;  // in the order in which the interfaces would be gone through
  };
  static constexpr std::uint32_t kNoKey = std::numeric_limits<std::uint32_t>::max();

  // A key that is a number of 32 bits, and where it stands among others (json/name_order.h).
  struct Named {
    std::uint64_t order;
    std::uint32_t number;
  };
  // A node and its table of one class.
  using Owner = std::pair<std::string, InterfaceTable*>;

  // The tables must not change any more.
  explicit ExpectedIndex(const EnumArray<InterfaceClass, const InterfaceTables*>& tables);

  const Class& of(InterfaceClass intf_class) const { return classes_[intf_class]; }
  const Owner& owner(std::uint32_t number) const { return owners_[number]; }

  std::uint32_t size() const { return static_cast<std::uint32_t>(keys_.size()); }
  std::uint64_t key(std::uint32_t number) const { return keys_[number]; }
  std::optional<std::uint32_t> find(std::uint64_t key) const {
    const auto found = numbers_.find(key);
    if (found == numbers_.end()) return std::nullopt;
    return found->second;
  }
  // All keys that are numbers of 32 bits, in their order.
  const std::vector<Named>& by_name() const { return by_name_; }

 private:
  std::uint32_t number(std::uint64_t key);
  void add(const InterfaceTable& table, Class& to);

  boost::unordered_flat_map<std::uint64_t, std::uint32_t> numbers_;
  std::vector<std::uint64_t> keys_;
  std::vector<Named> by_name_;
  std::vector<Owner> owners_;
  EnumArray<InterfaceClass, Class> classes_;
};

}  // namespace zorbec
