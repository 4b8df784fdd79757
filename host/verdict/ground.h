#pragma once

#include <map>
#include <string_view>
#include <vector>

#include "host/facts/facts.h"
#include "tables/interface_class.h"

namespace zorbec {

// The ground on which the verdicts of one interface check stand: which interfaces are known, and
// why the others are not. The facts must outlive it and not change.
class Ground {
 public:
  explicit Ground(const RunFacts& run);

  // Why the node's interfaces of a class cannot be relied on; null: they can.
  const Problem* problem(const NodeFacts& node, InterfaceClass intf_class) const;
  const Problem* problem(std::string_view node, InterfaceClass intf_class) const;
  const Problem* first_problem(const NodeFacts& node) const;

  // The nodes whose interfaces are not all known: any of them may own a key that seems to leak.
  const std::vector<const NodeFacts*>& doubtful_nodes() const { return doubtful_; }

  // Whether the configuration that the nodes' workers saw holds no GRE tunnel at all.
  bool has_no_tunnels() const { return !somebody_has_tunnels_; }

 private:
  const Problem* problem_of_others(InterfaceClass intf_class) const;
  const Problem* tunnel_problem(const NodeFacts& node) const;

  const RunFacts& run_;
  const bool somebody_has_tunnels_;
  std::map<std::string_view, const NodeFacts*> nodes_;
  std::vector<const NodeFacts*> doubtful_;
};

// Why the node's programmed keys cannot be relied on, which ends every verdict on them; null: they
// can.
const Problem* pmdb_problem(const RunFacts& run, const NodeFacts& node);

}  // namespace zorbec
