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

// One entry that a node's tool has printed: name of a field -> its text.
using MulticastRecord = std::map<std::string, std::string, std::less<>>;

// One node's entries: number -> entry. Numbers are counted from 0 in the order of the output. Some
// numbers may have no entry.
using MulticastEntries = std::map<std::uint32_t, MulticastRecord>;

// The entries of all nodes, for one kind of multicast state: node address -> entries. Safe from any
// thread. Several workers write to it, so it returns copies, not references.
class MulticastTable {
 public:
  using Nodes = std::vector<std::pair<std::string, MulticastEntries>>;

  // Gives the address its place, behind all others. So the order does not depend on which node
  // answers first.
  void declare(const std::string& address);
  // Stores the node's entries, and replaces those that it had.
  void store(const std::string& address, MulticastEntries entries);
  // A copy of all nodes for which entries were stored, even if there were none, in order.
  Nodes nodes() const;

 private:
  mutable Mutex mutex_;
  OrderedMap<std::optional<MulticastEntries>> places_ ZORBEC_GUARDED_BY(mutex_);
};

// The entries of one node, or null if it is not in `nodes`. Points into `nodes`.
const MulticastEntries* find_node(const MulticastTable::Nodes& nodes, std::string_view address);

// Writes the table for a log, sorted by address, with a newline at its end.
std::string render(const MulticastTable::Nodes& nodes);

}  // namespace zorbec
