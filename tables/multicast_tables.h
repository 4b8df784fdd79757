#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "base/ordered_map.h"

namespace zorbec {

// One entry of a multicast dump: the fields that its lines held, by name.
using MulticastRecord = std::map<std::string, std::string, std::less<>>;

// One node's entries by number, counted from 0 in output order. A number may be without a record.
using MulticastEntries = std::map<std::uint32_t, MulticastRecord>;

// A view of one kind of multicast state: node address -> entries. Several workers write it, so it
// hands out no references.
//
// Addresses stand in the order of declare(), whichever node answers first.
class MulticastTable {
 public:
  using Nodes = std::vector<std::pair<std::string, MulticastEntries>>;

  void declare(const std::string& address);
  // Replaces what the node had.
  void store(const std::string& address, MulticastEntries entries);
  // Every node that entries were stored for, empty ones included.
  Nodes nodes() const;

 private:
  mutable Mutex mutex_;
  OrderedMap<std::optional<MulticastEntries>> places_ ZORBEC_GUARDED_BY(mutex_);
};

// The entries of one node, null if the table has none for it.
const MulticastEntries* find_node(const MulticastTable::Nodes& nodes, std::string_view address);

// Pretty-printed, ended by a newline.
std::string render(const MulticastTable::Nodes& nodes);

}  // namespace zorbec
