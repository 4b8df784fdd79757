#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bench/floor/table.h"
#include "tables/interface_class.h"

namespace zorbec::floor {

// One node's interfaces of one class. What the check adds to a record stands beside it.
struct Interfaces {
  Table table;
  std::vector<std::vector<std::uint64_t>> key_lists;      // empty: the record has none
  std::vector<std::vector<std::uint32_t>> subinterfaces;  // of bundles: records of the subif table
};

struct Node {
  std::string name;
  std::array<Interfaces, kInterfaceClasses.size()> classes;
  Table pmdb;

  Interfaces& of(InterfaceClass intf_class) {
    return classes[static_cast<std::size_t>(intf_class)];
  }
  const Interfaces& of(InterfaceClass intf_class) const {
    return classes[static_cast<std::size_t>(intf_class)];
  }
};

struct KeyRules {
  bool has_one_port = false;  // every slot's own port is 0
  unsigned lag_bits = 8;      // where the member id begins in a member port
};

// The names of the nodes whose PMDB dumps lie in `folder`, in node-table order.
std::vector<std::string> find_nodes(const std::string& folder);

// Reads the dumps of one node and derives the keys that its interfaces call for.
Node load_node(const std::string& folder, const std::string& name, const KeyRules& rules);

// What orders decimal texts byte by byte, made of the numbers that they write.
inline std::pair<std::uint64_t, std::uint64_t> text_order(std::uint64_t number) {
  constexpr std::uint64_t kNineteenDigits = 1'000'000'000'000'000'000;
  if (number >= 10 * kNineteenDigits) return {number / 10, 20 + number % 10};
  std::uint64_t digits = 19;
  for (; number != 0 && number < kNineteenDigits; --digits) number *= 10;
  return {number, number == 0 ? 1 : digits};
}

// All distinct keys that the interfaces of any node call for, numbered in the order of their
// decimal texts. A PMDB is compared with it by looking up each of its entries here: then the
// entries are in order as well, and an expected key that is missing has left its place empty.
class ExpectedKeys {
 public:
  explicit ExpectedKeys(const std::vector<Node>& nodes);

  std::size_t size() const { return size_; }
  std::optional<std::uint32_t> number_of(std::uint64_t key) const;

 private:
  struct Slot {
    std::uint64_t key = 0;  // 0 is nobody's key
    std::uint32_t number = 0;
  };
  // The slot of the key, or the empty one where it belongs.
  std::size_t find(std::uint64_t key) const;

  std::vector<Slot> slots_;
  unsigned shift_ = 0;
  std::size_t size_ = 0;
};

}  // namespace zorbec::floor
