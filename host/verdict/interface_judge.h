#pragma once

#include <optional>

#include "host/facts/facts.h"
#include "host/report/report.h"
#include "host/verdict/finding_counts.h"
#include "host/verdict/ground.h"
#include "tables/interface_class.h"

namespace zorbec {

// Judges one interface check, cell by cell. The facts must outlive it; which findings are confirmed
// is settled when it is made, and nothing changes afterwards.
class InterfaceJudge {
 public:
  explicit InterfaceJudge(RunFacts& run);

  Cell judge_class(const NodeFacts& node, InterfaceClass intf_class) const;
  Cell judge_leaks(const NodeFacts& node) const;

  // What no node's hardware was checked for, if anything.
  std::optional<NotLookedAt> unknown_interfaces() const;

 private:
  bool stands(const Finding& finding) const;
  const Problem* doubt(const NodeFacts& node, InterfaceClass intf_class) const;

  RunFacts& run_;
  const Ground ground_;
  const FindingCounts counts_;
};

}  // namespace zorbec
