#include "host/verdict/ground.h"

#include <algorithm>

#include "host/verdict/problems.h"

namespace zorbec {

Ground::Ground(const RunFacts& run)
    : run_(run), somebody_has_tunnels_(std::ranges::any_of(run.nodes, [](const NodeFacts& node) {
        return node.has_tunnels == true;
      })) {
  for (const NodeFacts& node : run.nodes) {
    nodes_.emplace(node.name, &node);
    if (node.dumps_pidb && first_problem(node) != nullptr) doubtful_.push_back(&node);
  }
}

const Problem* Ground::problem(const NodeFacts& node, InterfaceClass intf_class) const {
  if (const Problem* const problem = first_of({&run_.set_up, &node.pidb})) return problem;
  if (!node.dumps_pidb) return problem_of_others(intf_class);
  const auto of = [&](InterfaceClass other) -> const ClassFacts& { return node.classes[other]; };
  if (!of(intf_class).problems.empty()) return &of(intf_class).problems.front();
  // Bundles and their sub-interfaces get keys from their member ports. If the ports are not known,
  // these keys are not known either, and nothing else would show that.
  const bool gets_from_ports =
      intf_class == InterfaceClass::kBundle || intf_class == InterfaceClass::kBundleSubif;
  if (gets_from_ports && !of(InterfaceClass::kPhysical).problems.empty()) {
    return &of(InterfaceClass::kPhysical).problems.front();
  }
  if (intf_class == InterfaceClass::kGre) return tunnel_problem(node);
  return of(intf_class).interfaces ? nullptr : &kNotReached;
}

const Problem* Ground::problem(std::string_view node, InterfaceClass intf_class) const {
  const auto found = nodes_.find(node);
  return found == nodes_.end() ? &kNotReached : problem(*found->second, intf_class);
}

const Problem* Ground::first_problem(const NodeFacts& node) const {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    if (const Problem* const found = problem(node, intf_class)) return found;
  }
  return nullptr;
}

// A node that dumps no PIDB, such as a route processor, is compared with the interfaces of the
// others. One other node whose interfaces are known is enough for a verdict; those of the rest are
// told for the whole router, by InterfaceJudge::unknown_interfaces().
const Problem* Ground::problem_of_others(InterfaceClass intf_class) const {
  const Problem* first = &kNotReached;
  for (const NodeFacts& other : run_.nodes) {
    if (!other.dumps_pidb) continue;
    const Problem* const found = problem(other, intf_class);
    if (found == nullptr) return nullptr;
    if (first == &kNotReached) first = found;
  }
  return first;
}

const Problem* Ground::tunnel_problem(const NodeFacts& node) const {
  // All nodes are asked about the same configuration. If their answers differ, one of them is
  // wrong, and the node that found none has not dumped its tunnels.
  if (!node.has_tunnels) return &kNotReached;
  if (*node.has_tunnels) {
    return node.classes[InterfaceClass::kGre].interfaces ? nullptr : &kNotReached;
  }
  static const Problem kContradiction{Reason::kWrongShape, "GRE tunnels",
                                      "other nodes found GRE tunnels in the running configuration, "
                                      "this node found none"};
  return somebody_has_tunnels_ ? &kContradiction : nullptr;
}

// The PMDB is dumped after the PIDB. If there is none and nothing says why, then what went wrong
// with the PIDB has ended the worker before it.
const Problem* pmdb_problem(const RunFacts& run, const NodeFacts& node) {
  if (const Problem* const problem = first_of({&run.set_up, &node.pmdb})) return problem;
  if (node.programmed) return nullptr;
  if (!node.pidb.empty()) return &node.pidb.front();
  for (const ClassFacts& of_class : node.classes) {
    if (!of_class.problems.empty()) return &of_class.problems.front();
  }
  return &kNotReached;
}

}  // namespace zorbec
