#pragma once

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "run/dump_tables.h"
#include "run/interface_class.h"

namespace zorbec {

// All keys that the interfaces of the router expect, each numbered once.
//
// Every node's hardware has to hold nearly the same keys, so going through all interfaces for every
// node looks each key up once a node and interface. With numbers, a node's own keys are gone
// through once, and what a class expects is a list of numbers.
class ExpectedIndex {
 public:
  // What one class expects.
  struct Class {
    // Whether the numbers tell all of it. Not if an interface has no keys of its own, or one that
    // is no plain word, or if a dump is no table: then the interfaces have to be gone through.
    bool is_complete = true;
    std::size_t expected = 0;            // keys, counted for each interface that expects them
    std::vector<std::uint32_t> numbers;  // no number twice
  };

  // The tables stand in the order of InterfaceClass and must not change any more.
  explicit ExpectedIndex(const std::array<const InterfaceTables*, 6>& tables);

  const Class& of(InterfaceClass intf_class) const {
    return classes_[static_cast<std::size_t>(intf_class)];
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(numbers_.size()); }
  std::optional<std::uint32_t> find(std::uint64_t key) const {
    const auto found = numbers_.find(key);
    if (found == numbers_.end()) return std::nullopt;
    return found->second;
  }

 private:
  std::uint32_t number(std::uint64_t key);
  void add(const InterfaceTable& table, Class& to, std::vector<bool>& is_listed);

  boost::unordered_flat_map<std::uint64_t, std::uint32_t> numbers_;
  std::array<Class, 6> classes_;
};

}  // namespace zorbec
