#include "host/verdict/verdicts.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "host/verdict/interface_judge.h"
#include "host/verdict/multicast_judge.h"
#include "platform/platform_probes.h"
#include "tables/interface_class.h"

namespace zorbec {

// From facts to a report, in this order:
//
//   1. each run is judged cell by cell (InterfaceJudge, MulticastJudge): a row for each node
//   2. what was not verified or is never checked is listed, from the cells and for the whole router
//   3. the selection (--node, --class) takes out what was not asked for
//   4. the verdict of each node is made from its cells, and that of the whole from its nodes
//
// A selection limits what is shown, never what a verdict may rest on: all cells are judged from all
// facts before it is applied.
//
// One rule holds in all steps: NOT VERIFIED is the default. A verdict is CONSISTENT only where
// every reason against it was looked for and not found; a case that is forgotten here gives
// NOT VERIFIED.

namespace {

// A node with problems is never CONSISTENT, even if none of its cells shows them: they may concern
// what --class has taken out of the report.
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

// The node's row in the report. Both runs of `check all` share it; the first one that knows the
// node makes it.
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

// Notes are listed as "not looked at, by design", because these entries do not change a verdict.
void add_notes(const std::string& node, const std::vector<Note>& notes, Report& report) {
  for (const Note& note : notes) {
    report.not_looked_at.push_back({node, note.report_class, true, std::nullopt, note.detail});
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
    // A dump fails once, however many problems it has.
    for (const Problems* const problems : dumps) {
      add_problems(row, *problems);
      if (!problems->empty()) ++report.coverage.dumps_failed;
    }
    add_problems(row, node.verification);
    add_problems(row, node.leak_questions);
    for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
      row.cells.push_back(judge.judge_class(node, intf_class));
      report.coverage.expected_keys += row.cells.back().compared;
      report.coverage.interfaces += node.classes[intf_class].interfaces.value_or(0);
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
    add_notes(node.name, node.notes, report);
  }
}

void judge_multicast(RunFacts& run, Report& report) {
  const MulticastJudge judge(run);
  for (const NodeFacts& node : run.nodes) {
    NodeReport& row = row_of(report.nodes, node);
    add_problems(row, node.multicast);
    if (!node.multicast.empty()) ++report.coverage.dumps_failed;
    row.cells.push_back(judge.judge(node));
    add_notes(node.name, node.notes, report);
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
  if (report.model_code != kModelUnknown) return;
  report.not_looked_at.push_back({"", std::nullopt, true, std::nullopt,
                                  "the router's model: its name is not known here, so it was "
                                  "checked as a standard model"});
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

// Whether a class of the interface check is left in the report.
bool speaks_of_interfaces(const Report& report) {
  return std::ranges::any_of(report.nodes, [](const NodeReport& node) {
    return std::ranges::any_of(
        node.cells, [](const Cell& cell) { return cell.report_class != ReportClass::kMulticast; });
  });
}

Verdict verdict_on(const Report& report) {
  if (!report.run_errors.empty() && !report.ended_early) return Verdict::kRunFailed;
  bool has_consistent = false;
  // An entry without a node concerns all nodes: if interfaces of one card are not known, the
  // selected nodes were not checked for them either.
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
    // Only the first run probes the model. If that failed, the second run rests on it too.
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
    add_notes("", run.notes, report);
    for (auto& [id, finding] : run.findings) report.findings.push_back(std::move(finding));
  }
  // First everything is judged and listed, then the selection takes out what was not asked for. The
  // verdicts of nodes and of the whole come last: they speak of what is left.
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
