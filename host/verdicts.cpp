#include "host/verdicts.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/platform_probes.h"
#include "run/interface_class.h"

namespace zorbec {
namespace {

std::size_t index(InterfaceClass intf_class) {
  return static_cast<std::size_t>(intf_class);
}

// The first of several lists of problems that is not empty names the reason.
const Problem* first_of(std::initializer_list<const Problems*> lists) {
  for (const Problems* const list : lists) {
    if (!list->empty()) return &list->front();
  }
  return nullptr;
}

std::string shown(const Problem& problem) {
  return problem.where.empty() ? problem.detail : problem.where + ": " + problem.detail;
}

void set_not_verified(Cell& cell, const Problem& problem) {
  cell.verdict = Verdict::kNotVerified;
  cell.reason = problem.reason;
  cell.detail = shown(problem);
}

const Problem kNotReached{Reason::kWorkerEnded, "", "the check of the node ended before it"};

// The ground on which the interface check of one run stands.
class Truth {
 public:
  explicit Truth(const RunFacts& run)
      : run_(run), somebody_has_tunnels_(std::ranges::any_of(run.nodes, [](const NodeFacts& node) {
          return node.has_tunnels == true;
        })) {
    for (const NodeFacts& node : run.nodes) {
      nodes_.emplace(node.name, &node);
      if (node.dumps_pidb && first_problem(node) != nullptr) doubtful_.push_back(&node);
    }
  }

  // Why the node's interfaces of a class cannot be relied on; null: they can.
  const Problem* problem(const NodeFacts& node, InterfaceClass intf_class) const {
    if (const Problem* const problem = first_of({&run_.set_up, &node.pidb})) return problem;
    if (!node.dumps_pidb) return problem_of_others(intf_class);
    const auto of = [&](InterfaceClass other) -> const ClassFacts& {
      return node.classes[index(other)];
    };
    if (!of(intf_class).problems.empty()) return &of(intf_class).problems.front();
    // Member ports hand their keys to their bundle and its sub-interfaces.
    const bool gets_from_ports =
        intf_class == InterfaceClass::kBundle || intf_class == InterfaceClass::kBundleSubif;
    if (gets_from_ports && !of(InterfaceClass::kPhysical).problems.empty()) {
      return &of(InterfaceClass::kPhysical).problems.front();
    }
    if (intf_class == InterfaceClass::kGre) return tunnel_problem(node);
    return of(intf_class).interfaces ? nullptr : &kNotReached;
  }
  const Problem* problem(std::string_view node, InterfaceClass intf_class) const {
    const auto found = nodes_.find(node);
    return found == nodes_.end() ? &kNotReached : problem(*found->second, intf_class);
  }

  const Problem* first_problem(const NodeFacts& node) const {
    for (const InterfaceClass intf_class : kInterfaceClasses) {
      if (const Problem* const found = problem(node, intf_class)) return found;
    }
    return nullptr;
  }

  // The nodes whose interfaces are not all known: any of them may own a key that seems to leak.
  const std::vector<const NodeFacts*>& doubtful_nodes() const { return doubtful_; }

  // Whether the configuration that the nodes' workers saw holds no GRE tunnel at all.
  bool has_no_tunnels() const { return !somebody_has_tunnels_; }

 private:
  // A node without interfaces of its own is held against what the others have: one that is known
  // must be among them.
  const Problem* problem_of_others(InterfaceClass intf_class) const {
    const Problem* first = &kNotReached;
    for (const NodeFacts& other : run_.nodes) {
      if (!other.dumps_pidb) continue;
      const Problem* const found = problem(other, intf_class);
      if (found == nullptr) return nullptr;
      if (first == &kNotReached) first = found;
    }
    return first;
  }

  const Problem* tunnel_problem(const NodeFacts& node) const {
    if (!node.has_tunnels) return &kNotReached;
    if (*node.has_tunnels) {
      return node.classes[index(InterfaceClass::kGre)].interfaces ? nullptr : &kNotReached;
    }
    static const Problem kContradiction{Reason::kWrongShape, "GRE tunnels",
                                        "the running configuration holds tunnels for other nodes, "
                                        "but not for this one"};
    return somebody_has_tunnels_ ? &kContradiction : nullptr;
  }

  const RunFacts& run_;
  const bool somebody_has_tunnels_;
  std::map<std::string_view, const NodeFacts*> nodes_;
  std::vector<const NodeFacts*> doubtful_;
};

// Findings of one cell, by whether they can be relied on.
struct Count {
  std::size_t confirmed = 0;
  std::size_t unconfirmed = 0;
};
using Counts = std::map<std::pair<std::string, ReportClass>, Count>;

// What ends every verdict on a node's keys. They are dumped after the PIDB: what went wrong there
// may be why there are none.
const Problem* pmdb_problem(const RunFacts& run, const NodeFacts& node) {
  if (const Problem* const problem = first_of({&run.set_up, &node.pmdb})) return problem;
  if (node.programmed) return nullptr;
  if (!node.pidb.empty()) return &node.pidb.front();
  for (const ClassFacts& of_class : node.classes) {
    if (!of_class.problems.empty()) return &of_class.problems.front();
  }
  return &kNotReached;
}

class InterfaceJudge {
 public:
  explicit InterfaceJudge(RunFacts& run) : run_(prepared(run)), truth_(run) {
    for (auto& [id, finding] : run_.findings) {
      finding.is_confirmed = stands(finding);
      Count& count = counts_[{finding.node, finding.report_class}];
      ++(finding.is_confirmed ? count.confirmed : count.unconfirmed);
    }
  }

  // What no node's hardware was checked for, if anything.
  std::optional<NotLookedAt> unknown_interfaces() const {
    const std::vector<const NodeFacts*>& doubtful = truth_.doubtful_nodes();
    if (doubtful.empty()) return std::nullopt;
    std::string nodes;
    for (const NodeFacts* const node : doubtful) nodes += (nodes.empty() ? "" : ", ") + node->name;
    return NotLookedAt{"", std::nullopt, false, truth_.first_problem(*doubtful.front())->reason,
                       "the interfaces of node " + nodes +
                           " are not all known, so that no node was checked for their keys"};
  }

  Cell judge_class(const NodeFacts& node, InterfaceClass intf_class) const {
    Cell cell = cell_of(node, static_cast<ReportClass>(intf_class));
    const std::optional<std::size_t>& expected = node.classes[index(intf_class)].expected;
    cell.compared = expected.value_or(0);
    if (cell.findings > 0) {
      cell.verdict = Verdict::kInconsistent;
    } else if (const Problem* const unread = pmdb_problem(run_, node)) {
      set_not_verified(cell, *unread);
    } else if (const Problem* const own = truth_.problem(node, intf_class)) {
      set_not_verified(cell, *own);
    } else if (!expected) {
      set_not_verified(cell, *end_of_verification(node));
    } else if (cell.unconfirmed > 0) {
      set_not_verified(cell, *doubt(node, intf_class));
    } else if (intf_class == InterfaceClass::kGre && truth_.has_no_tunnels()) {
      cell.verdict = Verdict::kByDesign;
      cell.detail = "the running configuration holds no GRE tunnels";
    } else {
      cell.verdict = *expected == 0 ? Verdict::kNothing : Verdict::kConsistent;
    }
    return cell;
  }

  Cell judge_leaks(const NodeFacts& node) const {
    Cell cell = cell_of(node, ReportClass::kLeak);
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
      const std::vector<const NodeFacts*>& doubtful = truth_.doubtful_nodes();
      set_not_verified(cell,
                       {doubtful.empty() ? Reason::kWorkerEnded
                                         : truth_.first_problem(*doubtful.front())->reason,
                        "", "whether keys leak cannot be told while not all interfaces are known"});
    } else {
      // Interfaces that are not known could only claim keys: where none is left over, none leaks.
      cell.verdict = Verdict::kConsistent;
    }
    return cell;
  }

 private:
  // A line card without a single interface has not told the truth. Where a class could not be read,
  // those that could be are as empty for the same reason.
  static RunFacts& prepared(RunFacts& run) {
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

  bool stands(const Finding& finding) const {
    const auto node = std::ranges::find(run_.nodes, finding.node, &NodeFacts::name);
    if (node == run_.nodes.end() || pmdb_problem(run_, *node) != nullptr) return false;
    if (finding.report_class == ReportClass::kLeak) {
      return truth_.doubtful_nodes().empty() && node->leak_questions.empty();
    }
    const auto intf_class = static_cast<InterfaceClass>(finding.report_class);
    return std::ranges::any_of(finding.interface->owners, [&](const std::string& owner) {
      return truth_.problem(owner, intf_class) == nullptr;
    });
  }

  Cell cell_of(const NodeFacts& node, ReportClass report_class) const {
    Cell cell{.report_class = report_class};
    if (const auto found = counts_.find({node.name, report_class}); found != counts_.end()) {
      cell.findings = found->second.confirmed;
      cell.unconfirmed = found->second.unconfirmed;
    }
    return cell;
  }

  static const Problem* end_of_verification(const NodeFacts& node) {
    return node.verification.empty() ? &kNotReached : &node.verification.front();
  }

  // Of which node's interfaces the findings are, if the node's own are well.
  const Problem* doubt(const NodeFacts& node, InterfaceClass intf_class) const {
    for (const auto& [id, finding] : run_.findings) {
      if (finding.node != node.name ||
          finding.report_class != static_cast<ReportClass>(intf_class)) {
        continue;
      }
      for (const std::string& owner : finding.interface->owners) {
        if (const Problem* const problem = truth_.problem(owner, intf_class)) return problem;
      }
    }
    return &kNotReached;
  }

  RunFacts& run_;
  const Truth truth_;
  Counts counts_;
};

class MulticastJudge {
 public:
  explicit MulticastJudge(RunFacts& run) : run_(run) {
    for (const NodeFacts& node : run.nodes) {
      if (node.type == "RP" && !node.multicast.empty() && routes_problem_ == nullptr) {
        routes_problem_ = &node.multicast.front();
      }
    }
    for (auto& [id, finding] : run_.findings) {
      const auto node = std::ranges::find(run_.nodes, finding.node, &NodeFacts::name);
      finding.is_confirmed = node != run_.nodes.end() && ground_problem(*node) == nullptr;
      Count& count = counts_[{finding.node, finding.report_class}];
      ++(finding.is_confirmed ? count.confirmed : count.unconfirmed);
    }
  }

  Cell judge(const NodeFacts& node) const {
    Cell cell{.report_class = ReportClass::kMulticast};
    if (const auto found = counts_.find({node.name, ReportClass::kMulticast});
        found != counts_.end()) {
      cell.findings = found->second.confirmed;
      cell.unconfirmed = found->second.unconfirmed;
    }
    cell.compared = node.routes_compared.value_or(0) - node.routes_uncompared;
    const bool is_processor = node.type == "RP";
    const bool has_task = is_processor || node.type == "LC" || node.buds.has_value();
    if (cell.findings > 0) {
      cell.verdict = Verdict::kInconsistent;
    } else if (const Problem* const problem = ground_problem(node)) {
      set_not_verified(cell, *problem);
    } else if (!has_task) {
      cell.verdict = Verdict::kByDesign;
      cell.detail = "a node of its type has no multicast state of its own";
    } else if (is_processor && node.role == "Standby" && node.routes == std::size_t{0}) {
      cell.verdict = Verdict::kByDesign;
      cell.detail = "a standby route processor without routes of its own";
    } else if (!node.routes_compared) {
      set_not_verified(cell, end_of_verification());
    } else if (*node.routes_compared == 0) {
      set_not_verified(cell, {Reason::kNothingToCompare, "", "no route processor lists a route"});
    } else if (node.routes_uncompared > 0) {
      set_not_verified(cell, {Reason::kNothingToCompare, "",
                              std::to_string(node.routes_uncompared) +
                                  " routes were not compared: the hardware names another RIF"});
    } else {
      cell.verdict = Verdict::kConsistent;
    }
    return cell;
  }

 private:
  // Every card is compared with what the route processors list.
  const Problem* ground_problem(const NodeFacts& node) const {
    if (const Problem* const problem = first_of({&run_.set_up, &node.multicast})) return problem;
    return node.type == "RP" ? nullptr : routes_problem_;
  }

  // The comparison takes the nodes one after the other; what ends it need not be this node's fault.
  Problem end_of_verification() const {
    if (run_.multicast_verification.empty()) return kNotReached;
    const Problem& end = run_.multicast_verification.front();
    return {Reason::kWorkerEnded, "the comparison ended before this node was done", end.detail};
  }

  RunFacts& run_;
  const Problem* routes_problem_ = nullptr;
  Counts counts_;
};

Verdict verdict_on(const NodeReport& node) {
  bool has_consistent = false;
  bool has_unverified = false;
  for (const Cell& cell : node.cells) {
    if (cell.verdict == Verdict::kInconsistent) return Verdict::kInconsistent;
    has_unverified |= cell.verdict == Verdict::kNotVerified;
    has_consistent |= cell.verdict == Verdict::kConsistent;
  }
  if (has_unverified || !node.problems.empty()) return Verdict::kNotVerified;
  return has_consistent ? Verdict::kConsistent : Verdict::kByDesign;
}

// The node's row in the report, made when the first run speaks of it.
NodeReport& row_of(std::vector<NodeReport>& rows, const NodeFacts& node) {
  const auto found = std::ranges::find(rows, node.name, &NodeReport::name);
  if (found != rows.end()) return *found;
  NodeReport& row = rows.emplace_back();
  row.name = node.name;
  row.address = node.address;
  row.type = node.type;
  row.role = node.role;
  row.is_reached = node.has_worker;
  return row;
}

void add_problems(NodeReport& row, const Problems& problems) {
  for (const Problem& problem : problems) {
    const bool is_known = std::ranges::any_of(row.problems, [&](const Problem& known) {
      return known.reason == problem.reason && known.where == problem.where &&
             known.detail == problem.detail;
    });
    if (!is_known) row.problems.push_back(problem);
    if (problem.reason == Reason::kUnreachable) row.is_reached = false;
  }
}

void judge_interfaces(RunFacts& run, Report& report) {
  const InterfaceJudge judge(run);
  if (std::optional<NotLookedAt> unknown = judge.unknown_interfaces()) {
    report.not_looked_at.push_back(std::move(*unknown));
  }
  for (NodeFacts& node : run.nodes) {
    NodeReport& row = row_of(report.nodes, node);
    std::vector<const Problems*> dumps = {&node.pidb, &node.pmdb};
    for (const ClassFacts& of_class : node.classes) dumps.push_back(&of_class.problems);
    for (const Problems* const problems : dumps) {
      add_problems(row, *problems);
      if (!problems->empty()) ++report.coverage.dumps_failed;
    }
    add_problems(row, node.verification);
    add_problems(row, node.leak_questions);
    for (const InterfaceClass intf_class : kInterfaceClasses) {
      row.cells.push_back(judge.judge_class(node, intf_class));
      report.coverage.expected_keys += row.cells.back().compared;
      report.coverage.interfaces += node.classes[index(intf_class)].interfaces.value_or(0);
    }
    row.cells.push_back(judge.judge_leaks(node));
    report.coverage.programmed_keys += node.programmed.value_or(0);
    row.dumps.insert(row.dumps.end(), node.dumps.begin(), node.dumps.end());

    if (node.has_worker && !node.dumps_pidb) {
      const bool is_standby = node.role == "Standby";
      report.not_looked_at.push_back(
          {node.name, std::nullopt, true, std::nullopt,
           is_standby ? "the PIDB of a standby node" : "the PIDB of a route processor"});
    }
    if (node.leaks && node.leaks->of_bundles > 0) {
      report.not_looked_at.push_back(
          {node.name, ReportClass::kLeak, true, std::nullopt,
           "keys that no interface claims, but that the interface manager takes for a bundle's: " +
               std::to_string(node.leaks->of_bundles)});
    }
  }
}

void judge_multicast(RunFacts& run, Report& report) {
  const MulticastJudge judge(run);
  for (const NodeFacts& node : run.nodes) {
    NodeReport& row = row_of(report.nodes, node);
    add_problems(row, node.multicast);
    if (!node.multicast.empty()) ++report.coverage.dumps_failed;
    row.cells.push_back(judge.judge(node));
    report.coverage.routes += node.routes.value_or(0);
  }
}

void list_not_looked_at(Report& report) {
  for (const NodeReport& node : report.nodes) {
    for (const Cell& cell : node.cells) {
      if (cell.verdict != Verdict::kNotVerified && cell.verdict != Verdict::kByDesign) continue;
      report.not_looked_at.push_back({node.name, cell.report_class,
                                      cell.verdict == Verdict::kByDesign, cell.reason,
                                      cell.detail});
    }
  }
}

std::string_view why_not_run(Check check, const Report& report) {
  if (check == Check::kInterfaces) return "interfaces: not asked for";
  return report.model_code && is_single_processor(*report.model_code)
             ? "multicast state: a single-processor model has none to compare"
             : "multicast state: not asked for";
}

void list_unknown_model(Report& report) {
  constexpr int kUnknownModel = 1;
  if (report.model_code != kUnknownModel) return;
  report.not_looked_at.push_back({"", std::nullopt, true, std::nullopt,
                                  "the router's model: it is not one of those that are known by "
                                  "name, and was taken for a standard one"});
}

void list_other_checks(Report& report) {
  for (const Check check : {Check::kInterfaces, Check::kMulticast}) {
    if (std::ranges::find(report.checks, check) != report.checks.end()) continue;
    report.not_looked_at.push_back(
        {"", std::nullopt, true, std::nullopt, std::string(why_not_run(check, report))});
  }
}

void select(Report& report) {
  const auto is_selected = [](const std::vector<std::string>& names, std::string_view name) {
    return names.empty() || std::ranges::find(names, name) != names.end();
  };
  const Selection& selection = report.selection;
  std::erase_if(report.nodes,
                [&](const NodeReport& node) { return !is_selected(selection.nodes, node.name); });
  for (NodeReport& node : report.nodes) {
    std::erase_if(node.cells, [&](const Cell& cell) {
      return !is_selected(selection.classes, class_name(cell.report_class));
    });
  }
  std::erase_if(report.findings, [&](const Finding& finding) {
    return !is_selected(selection.nodes, finding.node) ||
           !is_selected(selection.classes, class_name(finding.report_class));
  });
  std::erase_if(report.not_looked_at, [&](const NotLookedAt& place) {
    const bool of_other_node = !place.node.empty() && !is_selected(selection.nodes, place.node);
    const bool of_other_class =
        place.report_class && !is_selected(selection.classes, class_name(*place.report_class));
    return of_other_node || of_other_class;
  });
}

void sort_findings(Report& report) {
  std::map<std::string_view, std::size_t> place;
  for (std::size_t at = 0; at < report.nodes.size(); ++at) place[report.nodes[at].name] = at;
  std::ranges::sort(report.findings, [&](const Finding& a, const Finding& b) {
    return std::tuple(a.check, place[a.node], a.report_class, std::string_view(a.id)) <
           std::tuple(b.check, place[b.node], b.report_class, std::string_view(b.id));
  });
}

bool speaks_of_interfaces(const Report& report) {
  return std::ranges::any_of(report.nodes, [](const NodeReport& node) {
    return std::ranges::any_of(
        node.cells, [](const Cell& cell) { return cell.report_class != ReportClass::kMulticast; });
  });
}

Verdict verdict_on(const Report& report) {
  if (!report.run_errors.empty() && !report.ended_early) return Verdict::kRunFailed;
  bool has_consistent = false;
  // Interfaces that are not known leave a doubt on all nodes, selected or not.
  const bool has_unknown = speaks_of_interfaces(report) &&
                           std::ranges::any_of(report.not_looked_at, [](const NotLookedAt& place) {
                             return place.node.empty() && !place.is_by_design;
                           });
  bool has_unverified = has_unknown || report.nodes.empty() || report.ended_early.has_value();
  for (const NodeReport& node : report.nodes) {
    if (node.verdict == Verdict::kInconsistent) return Verdict::kInconsistent;
    has_unverified |= node.verdict == Verdict::kNotVerified;
    has_consistent |= node.verdict == Verdict::kConsistent;
  }
  return has_unverified || !has_consistent ? Verdict::kNotVerified : Verdict::kConsistent;
}

}  // namespace

Report judge(std::vector<RunFacts> runs, Selection selection, std::optional<Reason> ended_early) {
  Report report;
  report.selection = std::move(selection);
  report.ended_early = ended_early;
  for (RunFacts& run : runs) {
    // The model is probed in the first run only: what is in doubt of it stays so.
    if (&run != &runs.front()) {
      const Problems& first = runs.front().set_up;
      run.set_up.insert(run.set_up.begin(), first.begin(), first.end());
    }
    report.checks.push_back(run.check);
    if (run.run_error) report.run_errors.push_back({run.check, *run.run_error});
    if (!report.model_code) report.model_code = run.model_code;
    if (!report.scale_mode) report.scale_mode = run.scale_mode;
    report.coverage.commands += run.commands;
    report.coverage.commands_failed += run.commands_failed;
    if (run.check == Check::kInterfaces) {
      judge_interfaces(run, report);
    } else {
      judge_multicast(run, report);
    }
    for (auto& [id, finding] : run.findings) report.findings.push_back(std::move(finding));
  }
  list_not_looked_at(report);
  list_unknown_model(report);
  list_other_checks(report);
  for (const NodeReport& node : report.nodes) {
    ++report.coverage.nodes;
    if (node.is_reached) ++report.coverage.nodes_reached;
  }
  sort_findings(report);
  select(report);
  for (NodeReport& node : report.nodes) node.verdict = verdict_on(node);
  report.verdict = verdict_on(report);
  return report;
}

}  // namespace zorbec
