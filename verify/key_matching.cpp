#include "verify/key_matching.h"

#include <cstddef>

#include "json/document.h"

namespace zorbec {

KeyMatching::KeyMatching(PmdbTable& pmdb, const ExpectedIndex& index)
    : pmdb_(pmdb),
      index_(index),
      can_claim_(pmdb.document().is_object() && pmdb.document().holds_only_objects()) {
  const JsonDocument& document = pmdb.document();
  if (!document.is_object()) return;
  entry_of_.assign(index.size(), kNoEntry);
  // Entries and keys come in the same order, so that nearly none has to be looked up.
  const std::vector<std::uint32_t>& entries = document.sorted_entries();
  auto expected = index.by_name().begin();
  const auto last = index.by_name().end();
  constexpr std::size_t kAhead = 16;
  for (std::size_t at = 0; at < entries.size(); ++at) {
    if (at + kAhead < entries.size()) document.prefetch_entry(entries[at + kAhead]);
    const std::uint32_t entry = entries[at];
    if (const std::optional<std::uint64_t> order = document.order(entry)) {
      while (expected != last && expected->order < *order) ++expected;
      if (expected != last && expected->order == *order) entry_of_[expected->number] = entry;
    } else if (const std::optional<std::uint64_t> key = document.number(entry)) {
      if (const std::optional<std::uint32_t> number = index.find(*key)) entry_of_[*number] = entry;
    }
  }
}

std::optional<std::uint32_t> KeyMatching::find(const Integer& key) const {
  const std::optional<std::uint64_t> word = key.word();
  if (word && !entry_of_.empty()) {
    if (const std::optional<std::uint32_t> number = index_.find(*word)) {
      const std::uint32_t entry = entry_of_[*number];
      return entry == kNoEntry ? std::nullopt : std::optional(entry);
    }
  }
  return pmdb_.find(key);
}

std::optional<std::uint32_t> KeyMatching::find(std::string_view name) const {
  if (const std::optional<std::uint64_t> number = canonical_number(name)) return find(*number);
  return pmdb_.find(name);
}

}  // namespace zorbec
