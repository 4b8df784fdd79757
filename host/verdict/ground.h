#pragma once

#include <map>
#include <string_view>
#include <vector>

#include "host/facts/facts.h"
#include "tables/interface_class.h"

namespace zorbec {

// What the verdicts of one interface check rest on: which interfaces are known, and why the others
// are not. Every node's keys are compared with the interfaces of all nodes, so one node with unread
// dumps matters to the verdicts on all.
//
// Keeps a reference to the facts: they must outlive it and must not change. Pointers that it
// returns point into the facts. Safe from any thread, as it only reads.
class Ground {
 public:
  explicit Ground(const RunFacts& run);

  // Why the node's interfaces of a class cannot be relied on; null: they can. For a node that dumps
  // no PIDB the answer is that for the other nodes. A name that no node has is not reached.
  const Problem* problem(const NodeFacts& node, InterfaceClass intf_class) const;
  const Problem* problem(std::string_view node, InterfaceClass intf_class) const;
  // The same for the first class that has a problem.
  const Problem* first_problem(const NodeFacts& node) const;

  // The nodes whose interfaces are not all known: a key that seems to leak may belong to any of
  // them.
  const std::vector<const NodeFacts*>& doubtful_nodes() const { return doubtful_; }

  // Whether no node found a GRE tunnel in the running configuration.
  bool has_no_tunnels() const { return !somebody_has_tunnels_; }

 private:
  const Problem* problem_of_others(InterfaceClass intf_class) const;
  const Problem* tunnel_problem(const NodeFacts& node) const;

  const RunFacts& run_;
  const bool somebody_has_tunnels_;
  std::map<std::string_view, const NodeFacts*> nodes_;
  std::vector<const NodeFacts*> doubtful_;
};

// Why the node's programmed keys cannot be relied on; null: they can. Without them no class of the
// node can be verified, and no finding on the node is confirmed.
const Problem* pmdb_problem(const RunFacts& run, const NodeFacts& node);

}  // namespace zorbec
