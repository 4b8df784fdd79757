#include "host/verdict/interface_judge.h"

#include <algorithm>
#include <string>

#include "host/verdict/problems.h"

namespace zorbec {

// A missing key needs two true statements: an interface needs the key (PIDB, of any node), and the
// hardware does not hold it (PMDB, of this node). A leaked key needs two as well: the hardware
// holds it, and no interface of the router needs it. Each statement rests on dumps that may be
// unread, stale or damaged:
//
//   verdict on                      rests on
//   a class of a node               the node's PMDB, and the PIDB of that class of the owners
//   the leaks of a node             the node's PMDB, and every PIDB of every node
//
// Ground says for each PIDB whether it can be relied on, pmdb_problem() says it for the PMDB.

namespace {

// A line card has interfaces. If every class that could be read is empty, its dump tool did not
// work, although nothing failed: CONSISTENT would then mean only that nothing was compared. So the
// card gets a problem, unless it has one already.
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
                     std::string("some interfaces of node") + (doubtful.size() == 1 ? "" : "s") +
                         " " + nodes + " are not known; their keys were checked on no node"};
}

Cell InterfaceJudge::judge_class(const NodeFacts& node, InterfaceClass intf_class) const {
  // From what is certain to what must be excluded first. A confirmed finding makes the cell
  // INCONSISTENT, whatever else is not known. CONSISTENT comes last.
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
    // `visited` is the checker's own mark. The leak check passes over a key that has it.
    set_not_verified(cell, {Reason::kWrongShape, "pmdb",
                            std::to_string(node.leaks->marked_in_dump) +
                                " keys are already marked as claimed in the dump"});
  } else if (cell.unconfirmed > 0) {
    const std::vector<const NodeFacts*>& doubtful = ground_.doubtful_nodes();
    set_not_verified(
        cell,
        {doubtful.empty() ? Reason::kWorkerEnded : ground_.first_problem(*doubtful.front())->reason,
         "", "some interfaces are not known; a key that seems to leak may belong to one of them"});
  } else {
    // Interfaces that are not known could only claim more keys. As no key is left over, none leaks.
    cell.verdict = Verdict::kConsistent;
  }
  return cell;
}

// A leak is certain only if every interface of the router is known. For a missing key one owner is
// enough whose dump is from this run: that one needs the key.
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

// The node's own interfaces are in order here, so the doubt is about another node that reported an
// interface of these findings.
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
