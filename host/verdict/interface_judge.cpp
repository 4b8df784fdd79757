#include "host/verdict/interface_judge.h"

#include <algorithm>
#include <string>

#include "host/verdict/problems.h"

namespace zorbec {
namespace {

// A line card without a single interface has not told the truth. Where a class could not be read,
// those that could be are as empty for the same reason.
RunFacts& prepared(RunFacts& run) {
  for (NodeFacts& node : run.nodes) {
    const bool has_any = std::ranges::any_of(node.classes, [](const ClassFacts& of_class) {
      return of_class.interfaces.value_or(0) > 0;
    });
    const bool has_loaded = std::ranges::any_of(node.classes, [](const ClassFacts& of_class) {
      return of_class.interfaces && of_class.problems.empty();
    });
    if (node.has_worker && node.dumps_pidb && node.type != "RP" && has_loaded && !has_any &&
        node.pidb.empty()) {
      node.pidb.push_back(
          {Reason::kNothingToCompare, "PIDB", "the node reports no interface at all"});
    }
  }
  return run;
}

const Problem* end_of_verification(const NodeFacts& node) {
  return node.verification.empty() ? &kNotReached : &node.verification.front();
}

}  // namespace

InterfaceJudge::InterfaceJudge(RunFacts& run)
    : run_(prepared(run)),
      ground_(run),
      counts_(run, [this](const Finding& finding) { return stands(finding); }) {}

std::optional<NotLookedAt> InterfaceJudge::unknown_interfaces() const {
  const std::vector<const NodeFacts*>& doubtful = ground_.doubtful_nodes();
  if (doubtful.empty()) return std::nullopt;
  std::string nodes;
  for (const NodeFacts* const node : doubtful) nodes += (nodes.empty() ? "" : ", ") + node->name;
  return NotLookedAt{"", std::nullopt, false, ground_.first_problem(*doubtful.front())->reason,
                     "the interfaces of node " + nodes +
                         " are not all known, so that no node was checked for their keys"};
}

Cell InterfaceJudge::judge_class(const NodeFacts& node, InterfaceClass intf_class) const {
  Cell cell = counts_.cell_of(node, intf_class);
  const std::optional<std::size_t>& expected = node.classes[intf_class].expected;
  cell.compared = expected.value_or(0);
  if (cell.findings > 0) {
    cell.verdict = Verdict::kInconsistent;
  } else if (const Problem* const unread = pmdb_problem(run_, node)) {
    set_not_verified(cell, *unread);
  } else if (const Problem* const own = ground_.problem(node, intf_class)) {
    set_not_verified(cell, *own);
  } else if (!expected) {
    set_not_verified(cell, *end_of_verification(node));
  } else if (cell.unconfirmed > 0) {
    set_not_verified(cell, *doubt(node, intf_class));
  } else if (intf_class == InterfaceClass::kGre && ground_.has_no_tunnels()) {
    cell.verdict = Verdict::kByDesign;
    cell.detail = "the running configuration holds no GRE tunnels";
  } else {
    cell.verdict = *expected == 0 ? Verdict::kNothing : Verdict::kConsistent;
  }
  return cell;
}

Cell InterfaceJudge::judge_leaks(const NodeFacts& node) const {
  Cell cell = counts_.cell_of(node, ReportClass::kLeak);
  if (node.leaks) cell.compared = node.leaks->programmed;
  if (cell.findings > 0) {
    cell.verdict = Verdict::kInconsistent;
  } else if (const Problem* const unread = pmdb_problem(run_, node)) {
    set_not_verified(cell, *unread);
  } else if (!node.leak_questions.empty()) {
    set_not_verified(cell, node.leak_questions.front());
  } else if (!node.leaks) {
    set_not_verified(cell, *end_of_verification(node));
  } else if (node.leaks->marked_in_dump > 0) {
    set_not_verified(cell, {Reason::kWrongShape, "pmdb",
                            std::to_string(node.leaks->marked_in_dump) +
                                " keys are marked as claimed by the dump itself"});
  } else if (cell.unconfirmed > 0) {
    const std::vector<const NodeFacts*>& doubtful = ground_.doubtful_nodes();
    set_not_verified(
        cell,
        {doubtful.empty() ? Reason::kWorkerEnded : ground_.first_problem(*doubtful.front())->reason,
         "", "whether keys leak cannot be told while not all interfaces are known"});
  } else {
    // Interfaces that are not known could only claim keys: where none is left over, none leaks.
    cell.verdict = Verdict::kConsistent;
  }
  return cell;
}

bool InterfaceJudge::stands(const Finding& finding) const {
  const auto node = std::ranges::find(run_.nodes, finding.node, &NodeFacts::name);
  if (node == run_.nodes.end() || pmdb_problem(run_, *node) != nullptr) return false;
  if (finding.report_class == ReportClass::kLeak) {
    return ground_.doubtful_nodes().empty() && node->leak_questions.empty();
  }
  const InterfaceClass intf_class = finding.report_class.interface_class().value();
  return std::ranges::any_of(finding.interface->owners, [&](const std::string& owner) {
    return ground_.problem(owner, intf_class) == nullptr;
  });
}

// Of which node's interfaces the findings are, if the node's own are well.
const Problem* InterfaceJudge::doubt(const NodeFacts& node, InterfaceClass intf_class) const {
  for (const auto& [id, finding] : run_.findings) {
    if (finding.node != node.name || finding.report_class != intf_class) {
      continue;
    }
    for (const std::string& owner : finding.interface->owners) {
      if (const Problem* const problem = ground_.problem(owner, intf_class)) return problem;
    }
  }
  return &kNotReached;
}

}  // namespace zorbec
