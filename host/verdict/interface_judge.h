#pragma once

#include <optional>

#include "host/facts/facts.h"
#include "host/report/report.h"
#include "host/verdict/finding_counts.h"
#include "host/verdict/ground.h"
#include "tables/interface_class.h"

namespace zorbec {

// Judges one interface check, cell by cell.
//
// The facts must outlive it. Its constructor changes them: it adds a problem to each card without
// any interface, and marks which findings are confirmed. Afterwards it only reads.
class InterfaceJudge {
 public:
  explicit InterfaceJudge(RunFacts& run);

  // The verdicts on one class of a node, and on the keys that belong to no interface.
  Cell judge_class(const NodeFacts& node, InterfaceClass intf_class) const;
  Cell judge_leaks(const NodeFacts& node) const;

  // If the interfaces of some nodes are not all known: the entry of the report that says so for all
  // nodes.
  std::optional<NotLookedAt> unknown_interfaces() const;

 private:
  // Whether a finding can be relied on.
  bool stands(const Finding& finding) const;
  // Why the unconfirmed findings of a cell cannot be relied on.
  const Problem* doubt(const NodeFacts& node, InterfaceClass intf_class) const;

  RunFacts& run_;
  const Ground ground_;
  const FindingCounts counts_;
};

}  // namespace zorbec
