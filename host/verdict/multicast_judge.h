#pragma once

#include "host/facts/facts.h"
#include "host/report/report.h"
#include "host/verdict/finding_counts.h"

namespace zorbec {

// Judges one multicast check, node by node. The facts must outlive it. Its constructor marks which
// findings are confirmed; afterwards it only reads.
class MulticastJudge {
 public:
  explicit MulticastJudge(RunFacts& run);

  Cell judge(const NodeFacts& node) const;

 private:
  // Why the node's multicast state cannot be relied on; null: it can.
  const Problem* ground_problem(const NodeFacts& node) const;
  // Why the comparison has not come to this node.
  Problem end_of_verification() const;

  RunFacts& run_;
  const Problem* const routes_problem_;  // of the first route processor that has one
  const FindingCounts counts_;
};

}  // namespace zorbec
