#include "host/verdict/multicast_judge.h"

#include <algorithm>
#include <string>

#include "host/verdict/problems.h"

namespace zorbec {
namespace {

const Problem* first_routes_problem(const RunFacts& run) {
  for (const NodeFacts& node : run.nodes) {
    if (node.type == "RP" && !node.multicast.empty()) return &node.multicast.front();
  }
  return nullptr;
}

}  // namespace

MulticastJudge::MulticastJudge(RunFacts& run)
    : run_(run),
      routes_problem_(first_routes_problem(run)),
      counts_(run, [this](const Finding& finding) {
        const auto node = std::ranges::find(run_.nodes, finding.node, &NodeFacts::name);
        return node != run_.nodes.end() && ground_problem(*node) == nullptr;
      }) {}

Cell MulticastJudge::judge(const NodeFacts& node) const {
  Cell cell = counts_.cell_of(node, ReportClass::kMulticast);
  cell.compared = node.routes_compared.value_or(0) - node.routes_uncompared;
  const bool is_processor = node.type == "RP";
  // The core collects from route processors and line cards only. Anything else has nothing to
  // compare, unless it did report bud objects.
  const bool has_task = is_processor || node.type == "LC" || node.buds.has_value();
  if (cell.findings > 0) {
    cell.verdict = Verdict::kInconsistent;
  } else if (const Problem* const problem = ground_problem(node)) {
    set_not_verified(cell, *problem);
  } else if (!has_task) {
    cell.verdict = Verdict::kByDesign;
    cell.detail = "nodes of this type have no multicast state";
  } else if (is_processor && node.role == "Standby" && node.routes == std::size_t{0}) {
    cell.verdict = Verdict::kByDesign;
    cell.detail = "a standby route processor without routes of its own";
  } else if (!node.routes_compared) {
    set_not_verified(cell, end_of_verification());
  } else if (*node.routes_compared == 0) {
    set_not_verified(cell,
                     {Reason::kNothingToCompare, "", "no route processor has a multicast route"});
  } else if (node.routes_uncompared > 0) {
    set_not_verified(cell, {Reason::kNothingToCompare, "",
                            std::to_string(node.routes_uncompared) +
                                " routes were not compared: the hardware names another RIF"});
  } else {
    cell.verdict = Verdict::kConsistent;
  }
  return cell;
}

// Every card is compared with the routes of the route processors. So if these are not known,
// nothing is known about the card either.
const Problem* MulticastJudge::ground_problem(const NodeFacts& node) const {
  if (const Problem* const problem = first_of({&run_.set_up, &node.multicast})) return problem;
  return node.type == "RP" ? nullptr : routes_problem_;
}

// One worker compares all nodes, one after the other. What ended it may come from another node, so
// the reason is "worker ended" and only the detail is taken over.
Problem MulticastJudge::end_of_verification() const {
  if (run_.multicast_verification.empty()) return kNotReached;
  const Problem& end = run_.multicast_verification.front();
  return {Reason::kWorkerEnded, "the comparison ended before it was done with this node",
          end.detail};
}

}  // namespace zorbec
