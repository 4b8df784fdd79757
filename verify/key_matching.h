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

// For each key of the index, the entry of one node's PMDB dump that has this key. Made once for a
// node; then each key of the index is found by its number, without a search.
//
// Belongs to the worker of the node. The table and the index must outlive it.
class KeyMatching {
 public:
  // Throws only std::bad_alloc. A dump that is not an object is accepted; see find().
  KeyMatching(PmdbTable& pmdb, const ExpectedIndex& index);

  const ExpectedIndex& index() const { return index_; }

  // The same results as PmdbTable::find(), but faster if the key is in the index. Throw CheckError
  // if the dump is not an object.
  std::optional<std::uint32_t> find(const Integer& key) const;
  std::optional<std::uint32_t> find(std::string_view name) const;

  // Whether claim() may be called: the dump is an object, and all its entries are objects. (For
  // others PmdbTable::set_visited() has to throw.)
  bool can_claim() const { return can_claim_; }
  // Marks the entry of the key with this number as claimed. Returns false if there is no entry.
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
  std::vector<std::uint32_t> entry_of_;  // for each number of the index; kNoEntry: missing
};

}  // namespace zorbec
