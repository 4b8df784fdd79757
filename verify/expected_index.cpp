#include "verify/expected_index.h"

#include <boost/sort/spreadsort/integer_sort.hpp>

#include "json/name_order.h"

namespace zorbec {

// The order here is the order of the findings: class by class, node by node in node-table order,
// interface by interface in file order, key by key. It is the order of the slow way
// (look_up_all() in interface_verification.cpp), so both give the same output.
ExpectedIndex::ExpectedIndex(const EnumArray<InterfaceClass, const InterfaceTables*>& tables) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    for (Owner& owner : tables[intf_class]->nodes()) {
      owners_.push_back(std::move(owner));
      add(*owners_.back().second, classes_[intf_class]);
    }
  }
  // Keys beyond 32 bits have no sort value (json/name_order.h). They are rare, and find() has them.
  by_name_.reserve(size());
  for (std::uint32_t number = 0; number < size(); ++number) {
    const std::uint64_t key = keys_[number];
    if (key <= std::numeric_limits<std::uint32_t>::max()) {
      by_name_.push_back({name_order(static_cast<std::uint32_t>(key)), number});
    }
  }
  // A radix sort by the 38-bit sort value.
  boost::sort::spreadsort::integer_sort(
      by_name_.begin(), by_name_.end(),
      [](const Named& key, unsigned bits) { return key.order >> bits; },
      [](const Named& a, const Named& b) { return a.order < b.order; });
}

// Several interfaces may expect the same key. It gets its number at the first of them.
std::uint32_t ExpectedIndex::number(std::uint64_t key) {
  const auto [known, is_new] = numbers_.try_emplace(key, size());
  if (is_new) keys_.push_back(key);
  return known->second;
}

void ExpectedIndex::add(const InterfaceTable& table, Class& to) {
  const auto owner = static_cast<std::uint32_t>(owners_.size() - 1);
  // The slow way throws at such a dump, with the right text. So it must be taken.
  if (!table.document.is_object()) to.is_complete = false;
  for (std::uint32_t entry = 0; entry < table.document.size(); ++entry) {
    const std::optional<KeyList>& keys = table.additions[entry].key_list;
    if (!keys) {
      to.keys.push_back({kNoKey, owner, entry});
      // Such an interface claims the key that equals its handle. So that key needs a number, too,
      // or every look-up of it would miss the index.
      if (const auto handle = canonical_number(table.document.name(entry))) number(*handle);
      continue;
    }
    for (const Integer& key : *keys) {
      const std::optional<std::uint64_t> word = key.word();
      // The slow way throws at 0, which is not a key, and takes keys beyond 64 bits. Neither is in
      // a real dump.
      if (word && *word != 0) {
        to.keys.push_back({number(*word), owner, entry});
      } else {
        to.is_complete = false;
      }
    }
  }
}

}  // namespace zorbec
