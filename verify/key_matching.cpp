#include "verify/key_matching.h"

#include <cstddef>

#include "json/document.h"

namespace zorbec {

// A walk over two sorted lists, like the merge step of a merge sort: the node's entries and the
// index's keys, both sorted like their decimal texts. A node has about as many entries as there are
// expected keys, so nearly every step finds a pair. A step costs a few comparisons of integers. A
// hash map would cost a hash and a cache miss for each key.
//
// Names that are no number below 2^32 - 1 have no sort value, and are rare. They are looked up one
// by one. A name that is no canonical number at all cannot equal a key of the index.
KeyMatching::KeyMatching(PmdbTable& pmdb, const ExpectedIndex& index)
    : pmdb_(pmdb),
      index_(index),
      can_claim_(pmdb.document().is_object() && pmdb.document().holds_only_objects()) {
  const JsonDocument& document = pmdb.document();
  if (!document.is_object()) return;
  entry_of_.assign(index.size(), kNoEntry);
  const std::vector<std::uint32_t>& entries = document.sorted_entries();
  auto expected = index.by_name().begin();
  const auto last = index.by_name().end();
  // The sorted order jumps through the entries, so those that come next are prefetched.
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

// A key that has no number in the index was not matched, so it is looked up in the dump itself.
// entry_of_ is empty if the dump is not an object; PmdbTable::find() then throws.
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
