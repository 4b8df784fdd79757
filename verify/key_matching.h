#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "base/integer.h"
#include "tables/dump_tables.h"
#include "verify/expected_index.h"

namespace zorbec {

// One node's programmed keys, matched with the index of expected keys: made by one walk over both
// in the order of their names, so that later each key of the index is found without a search.
//
// Belongs to the node's own worker. Table and index must outlive it.
class KeyMatching {
 public:
  KeyMatching(PmdbTable& pmdb, const ExpectedIndex& index);

  const ExpectedIndex& index() const { return index_; }

  // The entry of that key, or of the key that `name` writes, as PmdbTable::find() finds it, and
  // quicker if it is in the index. Throw CheckError if the dump is not an object.
  std::optional<std::uint32_t> find(const Integer& key) const;
  std::optional<std::uint32_t> find(std::string_view name) const;

  // Whether entries can be claimed by their numbers in the index: not if the dump is no table, or
  // an entry of it no record.
  bool can_claim() const { return can_claim_; }
  // Marks the entry of that number as claimed; false if there is none. Only if can_claim().
  bool claim(std::uint32_t number) {
    const std::uint32_t entry = entry_of_[number];
    if (entry == kNoEntry) return false;
    pmdb_.claim(entry);
    return true;
  }

 private:
  static constexpr std::uint32_t kNoEntry = std::numeric_limits<std::uint32_t>::max();

  PmdbTable& pmdb_;
  const ExpectedIndex& index_;
  const bool can_claim_;
  std::vector<std::uint32_t> entry_of_;  // by number of the index
};

}  // namespace zorbec
