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
      if (doubtful_ == nullptr && node.dumps_pidb && first_problem(node) != nullptr) {
        doubtful_ = &node;
      }
    }
  }

  // Why the node's interfaces of a class cannot be relied on; null: they can.
  const Problem* problem(const NodeFacts& node, InterfaceClass intf_class) const {
    if (const Problem* const problem = first_of({&run_.set_up, &node.pidb})) return problem;
    if (!node.dumps_pidb) return nullptr;
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

  // A node whose interfaces are not all known: any of them may own a key that seems to leak. Null
  // if there is none.
  const NodeFacts* doubtful_node() const { return doubtful_; }

  // Whether the configuration that the nodes' workers saw holds no GRE tunnel at all.
  bool has_no_tunnels() const { return !somebody_has_tunnels_; }

 private:
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
  const NodeFacts* doubtful_ = nullptr;
};

// Findings of one cell, by whether they can be relied on.
struct Count {
  std::size_t confirmed = 0;
  std::size_t unconfirmed = 0;
};
using Counts = std::map<std::pair<std::string, ReportClass>, Count>;

// What ends every verdict on a node's keys.
const Problem* pmdb_problem(const RunFacts& run, const NodeFacts& node) {
  if (const Problem* const problem = first_of({&run.set_up, &node.pmdb})) return problem;
  return node.programmed ? nullptr : &kNotReached;
}

class InterfaceJudge {
 public:
  explicit InterfaceJudge(RunFacts& run) : run_(prepared(run)), truth_(run) {
    for (auto& [id, finding] : run_.findings) {
      finding.is_confirmed = stands(finding);
      Count& count = counts_[{finding.node, finding.report_class}];
      (finding.is_confirmed ? count.confirmed : count.unconfirmed) += finding.times;
    }
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
      cell.verdict = *expected == 0 ? Verdict::kNone : Verdict::kConsistent;
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
      const NodeFacts* const doubtful = truth_.doubtful_node();
      set_not_verified(
          cell,
          {doubtful == nullptr ? Reason::kWorkerEnded : truth_.first_problem(*doubtful)->reason, "",
           "whether keys leak cannot be told while the interfaces of node " +
               (doubtful == nullptr ? std::string("?") : doubtful->name) + " are not known"});
    } else {
      // Interfaces that are not known could only claim keys: where none is left over, none leaks.
      cell.verdict = Verdict::kConsistent;
    }
    return cell;
  }

 private:
  // A line card without a single interface has not told the truth.
  static RunFacts& prepared(RunFacts& run) {
    for (NodeFacts& node : run.nodes) {
      const bool has_any = std::ranges::any_of(node.classes, [](const ClassFacts& of_class) {
        return of_class.interfaces.value_or(0) > 0 || !of_class.problems.empty();
      });
      if (node.has_worker && node.dumps_pidb && node.type != "RP" && !has_any &&
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
      return truth_.doubtful_node() == nullptr && node->leak_questions.empty();
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
      routes_ += node.routes.value_or(0);
    }
    for (auto& [id, finding] : run_.findings) {
      const auto node = std::ranges::find(run_.nodes, finding.node, &NodeFacts::name);
      finding.is_confirmed = node != run_.nodes.end() && ground_problem(*node) == nullptr;
      Count& count = counts_[{finding.node, finding.report_class}];
      (finding.is_confirmed ? count.confirmed : count.unconfirmed) += finding.times;
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
      set_not_verified(cell, run_.multicast_verification.empty()
                                 ? kNotReached
                                 : run_.multicast_verification.front());
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

  RunFacts& run_;
  const Problem* routes_problem_ = nullptr;
  std::size_t routes_ = 0;
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
           is_standby ? "its PIDB: a standby node has none that counts"
                      : "its PIDB: a route processor has no interfaces of its own here"});
    }
    if (node.leaks && node.leaks->of_bundles > 0) {
      report.not_looked_at.push_back(
          {node.name, ReportClass::kLeak, true, std::nullopt,
           std::to_string(node.leaks->of_bundles) +
               " keys that no interface claims: the interface manager takes them for bundles"});
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

// What the cells say was not looked at: once for a node if it is the same for all its classes, once
// for a class if it is the same for all nodes.
void list_not_looked_at(Report& report) {
  std::map<std::pair<ReportClass, std::string>, std::size_t> by_class;
  for (const NodeReport& node : report.nodes) {
    for (const Cell& cell : node.cells) {
      if (cell.verdict == Verdict::kByDesign) ++by_class[{cell.report_class, cell.detail}];
    }
  }
  for (const auto& [what, count] : by_class) {
    if (count == report.nodes.size() && count > 1) {
      report.not_looked_at.push_back({"", what.first, true, std::nullopt, what.second});
    }
  }
  for (const NodeReport& node : report.nodes) {
    std::map<std::string, std::vector<const Cell*>> by_detail;
    std::vector<const std::string*> order;
    for (const Cell& cell : node.cells) {
      const bool is_everywhere = cell.verdict == Verdict::kByDesign && report.nodes.size() > 1 &&
                                 by_class[{cell.report_class, cell.detail}] == report.nodes.size();
      const bool is_listed =
          cell.verdict == Verdict::kNotVerified || cell.verdict == Verdict::kByDesign;
      if (!is_listed || is_everywhere) continue;
      const auto [place, is_new] = by_detail.try_emplace(cell.detail);
      if (is_new) order.push_back(&place->first);
      place->second.push_back(&cell);
    }
    for (const std::string* const detail : order) {
      const std::vector<const Cell*>& cells = by_detail[*detail];
      const auto add = [&](std::optional<ReportClass> report_class) {
        const Cell& cell = *cells.front();
        report.not_looked_at.push_back({node.name, report_class, cell.verdict == Verdict::kByDesign,
                                        cell.reason, cell.detail});
      };
      if (cells.size() == node.cells.size()) {
        add(std::nullopt);
        continue;
      }
      for (const Cell* const cell : cells) add(cell->report_class);
    }
  }
}

void list_other_checks(Report& report) {
  for (const Check check : {Check::kInterfaces, Check::kMulticast}) {
    if (std::ranges::find(report.checks, check) != report.checks.end()) continue;
    const bool is_single = report.model_code && is_single_processor(*report.model_code);
    report.not_looked_at.push_back(
        {"", std::nullopt, true, std::nullopt,
         check == Check::kInterfaces ? "interfaces: not asked for"
         : is_single ? "multicast state: a single-processor model has none to compare"
                     : "multicast state: not asked for"});
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

Verdict verdict_on(const Report& report) {
  if (!report.run_errors.empty() && !report.ended_early) return Verdict::kRunFailed;
  bool has_consistent = false;
  bool has_unverified = report.nodes.empty() || report.ended_early.has_value();
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
