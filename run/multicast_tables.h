#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "run/mutex.h"
#include "run/ordered_map.h"

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

// The tunnel RIFs of all route processors, which every node is asked for. The list only grows, also
// from run to run.
//
// Route processors report at different times, yet their RIFs stand in node-table order, and nobody
// is to ask before all have reported: a line card that asks too early would miss healthy entries.
class TunnelRifs {
 public:
  // A phase begins in which these nodes, in this order, will each report once.
  void expect(const std::vector<std::string>& nodes);
  // What a node found, even if it is nothing or less than there is. Of a node that nobody expects,
  // it is appended at once. Of one that is expected it does not throw.
  void report(const std::string& node, std::vector<std::string> found);
  // Nobody reports any more: whoever waits goes on with what there is.
  void abandon();

  // Waits until every expected node has reported.
  void wait() const;
  // The list as it stands.
  std::vector<std::string> list() const;

 private:
  // Appends what was reported as far as nobody is missing before it.
  void append_reported() ZORBEC_REQUIRES(mutex_);

  mutable Mutex mutex_;
  mutable std::condition_variable_any all_reported_;
  // As they were reported, one list each. There is room for all who are expected: a report comes
  // from workers that fail too, and must not need memory then.
  std::vector<std::vector<std::string>> rifs_ ZORBEC_GUARDED_BY(mutex_);
  // Those who have not been appended yet, in order.
  std::vector<std::pair<std::string, std::optional<std::vector<std::string>>>> expected_
      ZORBEC_GUARDED_BY(mutex_);
};

}  // namespace zorbec
