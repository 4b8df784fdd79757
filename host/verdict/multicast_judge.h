#pragma once

#include "host/facts/facts.h"
#include "host/report/report.h"
#include "host/verdict/finding_counts.h"

namespace zorbec {

// Judges one multicast check, node by node. As with InterfaceJudge, the facts must outlive it, and
// it settles which findings are confirmed.
class MulticastJudge {
 public:
  explicit MulticastJudge(RunFacts& run);

  Cell judge(const NodeFacts& node) const;

 private:
  const Problem* ground_problem(const NodeFacts& node) const;
  Problem end_of_verification() const;

  RunFacts& run_;
  const Problem* const routes_problem_;  // of the first route processor that has one
  const FindingCounts counts_;
};

}  // namespace zorbec
