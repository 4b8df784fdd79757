#include "run/expected_index.h"

namespace zorbec {

ExpectedIndex::ExpectedIndex(const std::array<const InterfaceTables*, 6>& tables) {
  for (std::size_t at = 0; at < tables.size(); ++at) {
    for (Owner& owner : tables[at]->nodes()) {
      owners_.push_back(std::move(owner));
      add(*owners_.back().second, classes_[at]);
    }
  }
}

std::uint32_t ExpectedIndex::number(std::uint64_t key) {
  const auto [known, is_new] = numbers_.try_emplace(key, size());
  if (is_new) keys_.push_back(key);
  return known->second;
}

void ExpectedIndex::add(const InterfaceTable& table, Class& to) {
  const auto owner = static_cast<std::uint32_t>(owners_.size() - 1);
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
      if (word && *word != 0) {
        to.keys.push_back({number(*word), owner, entry});
      } else {
        to.is_complete = false;
      }
    }
  }
}

}  // namespace zorbec
