#include "run/expected_index.h"

namespace zorbec {

ExpectedIndex::ExpectedIndex(const std::array<const InterfaceTables*, 6>& tables) {
  for (std::size_t at = 0; at < tables.size(); ++at) {
    std::vector<bool> is_listed;
    for (const auto& [node, table] : tables[at]->nodes()) add(*table, classes_[at], is_listed);
  }
}

std::uint32_t ExpectedIndex::number(std::uint64_t key) {
  return numbers_.try_emplace(key, size()).first->second;
}

void ExpectedIndex::add(const InterfaceTable& table, Class& to, std::vector<bool>& is_listed) {
  if (!table.document.is_object()) to.is_complete = false;
  for (std::uint32_t entry = 0; entry < table.document.size(); ++entry) {
    const std::optional<KeyList>& keys = table.additions[entry].key_list;
    if (!keys) {
      to.is_complete = false;
      // It will be looked for by its handle.
      if (const auto handle = canonical_number(table.document.name(entry))) number(*handle);
      continue;
    }
    for (const Integer& key : *keys) {
      const std::optional<std::uint64_t> word = key.word();
      if (!word || *word == 0) {
        to.is_complete = false;
        continue;
      }
      ++to.expected;
      const std::uint32_t numbered = number(*word);
      if (numbered >= is_listed.size()) is_listed.resize(2 * std::size_t{numbered} + 1);
      if (is_listed[numbered]) continue;
      is_listed[numbered] = true;
      to.numbers.push_back(numbered);
    }
  }
}

}  // namespace zorbec
