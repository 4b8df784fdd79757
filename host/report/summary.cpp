#include "host/report/summary.h"

#include <fmt/color.h>  // seconds of compiling
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "host/words/wrapped_text.h"

namespace zorbec {

// The summary has these parts, each left out if it is empty:
//
//   node  verdict  port  ...              one row for each node, one column for each class
//   Findings: 7, printed as 13 lines      one row for each cause, see FoldedFinding
//   Not verified:                         one entry for each reason, see write_places()
//   Not looked at, by design:
//   The interfaces check failed: ...
//   Coverage: ...                         how much was compared
//   INCONSISTENT: ...                     the verdict; last, so that it does not scroll away
//
// Names of interfaces, details and errors may come from dumps: they go through printable().

namespace {

constexpr std::size_t kKeysShown = 4;

class Text {
 public:
  explicit Text(bool has_colour) : has_colour_(has_colour) {}

  template <typename... T>
  void line(fmt::format_string<T...> format, T&&... values) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<T>(values)...);
    text_ += '\n';
  }
  // In lines of 80 columns, those after the first indented.
  void wrapped(std::string_view first, std::string_view content) {
    append_wrapped(text_, first, content);
  }
  std::string painted(std::string_view text, Verdict verdict) const {
    return has_colour_ ? fmt::format(style_of(verdict), "{}", text) : std::string(text);
  }
  std::string take() { return std::move(text_); }

 private:
  static fmt::text_style style_of(Verdict verdict) {
    switch (verdict) {
      case Verdict::kConsistent:
        return fmt::fg(fmt::terminal_color::green);
      case Verdict::kInconsistent:
      case Verdict::kRunFailed:
        return fmt::fg(fmt::terminal_color::red) | fmt::emphasis::bold;
      case Verdict::kNotVerified:
        return fmt::fg(fmt::terminal_color::yellow);
      case Verdict::kNothing:
      case Verdict::kByDesign:
        return fmt::emphasis::faint;
    }
    return {};
  }

  const bool has_colour_;
  std::string text_;
};

std::string cell_text(const Cell& cell) {
  switch (cell.verdict) {
    case Verdict::kConsistent:
      return "ok";
    case Verdict::kInconsistent:
      return cell.report_class == ReportClass::kLeak ? fmt::format("{} leaked", cell.findings)
             : cell.report_class == ReportClass::kMulticast
                 ? fmt::format("{} wrong", cell.findings)
                 : fmt::format("{} missing", cell.findings);
    case Verdict::kNotVerified:
      return "?";
    case Verdict::kNothing:
      return "none";
    case Verdict::kByDesign:
    case Verdict::kRunFailed:
      return "-";
  }
  return {};
}

// A table with a heading. Each column is as wide as its longest text. Colour codes have no width,
// so padding is counted from the plain texts.
class Table {
 public:
  struct Entry {
    std::string text;
    std::optional<Verdict> verdict;  // for its colour
  };
  using Row = std::vector<Entry>;

  explicit Table(Row heading) : rows_{std::move(heading)} {}
  void add(Row row) { rows_.push_back(std::move(row)); }

  void write(Text& text) const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const Row& row : rows_) {
      for (std::size_t at = 0; at < row.size(); ++at) {
        widths[at] = std::max(widths[at], row[at].text.size());
      }
    }
    for (const Row& row : rows_) {
      std::string line;
      for (std::size_t at = 0; at < row.size(); ++at) {
        const Entry& entry = row[at];
        line += "  ";
        line += entry.verdict ? text.painted(entry.text, *entry.verdict) : entry.text;
        if (at + 1 < row.size()) line.append(widths[at] - entry.text.size(), ' ');
      }
      text.line("{}", line);
    }
  }

 private:
  std::vector<Row> rows_;
};

void write_nodes(const Report& report, Text& text) {
  if (report.nodes.empty()) {
    text.line("No node was checked.");
    return;
  }
  // With `check all`, a check that failed early may know fewer nodes or classes than the other. The
  // table has a column for each class that any node has, and "?" where a node lacks it.
  std::vector<ReportClass> classes;
  for (const NodeReport& node : report.nodes) {
    for (const Cell& cell : node.cells) classes.push_back(cell.report_class);
  }
  std::ranges::sort(classes);
  classes.erase(std::unique(classes.begin(), classes.end()), classes.end());

  Table::Row heading = {{"node", {}}, {"verdict", {}}};
  for (const ReportClass of : classes) {
    heading.push_back({std::string(column_heading(of)), {}});
  }
  Table table(std::move(heading));
  for (const NodeReport& node : report.nodes) {
    Table::Row row = {{node.name, {}}, {std::string(verdict_text(node.verdict)), node.verdict}};
    for (const ReportClass of : classes) {
      const auto cell = std::ranges::find(node.cells, of, &Cell::report_class);
      row.push_back(cell == node.cells.end() ? Table::Entry{"?", Verdict::kNotVerified}
                                             : Table::Entry{cell_text(*cell), cell->verdict});
    }
    table.add(std::move(row));
  }
  table.write(text);
}

// A row of the summary: findings that most likely have one cause.
//
//   missing keys   all keys of one interface that are missing on the same nodes
//   leaked keys    all that are left over on the same nodes
//   routes         one route, on all nodes where it is wrong in the same way
//   unconfirmed    all of one kind and class on the same nodes: what counts is how many there are
struct FoldedFinding {
  const Finding* first = nullptr;  // speaks for the others
  std::vector<std::string> what;   // keys, or handles of routes
  std::vector<std::string> nodes;  // in the order of the report
  bool is_of_several = false;      // the findings are of more than one interface
};

std::string fold_name(const Finding& finding) {
  if (finding.interface) {
    return finding.interface->name.empty() ? finding.interface->handle : finding.interface->name;
  }
  return finding.route ? "tunnel " + finding.route->rif : std::string("nobody");
}

// The key, or the route: with the kind, the class and the interface it names what is wrong,
// whatever the node.
std::string what_of(const Finding& finding) {
  if (!finding.route) return finding.key;
  return finding.route->processor + "/" + std::to_string(finding.route->number);
}

// What findings of one row have in common, besides kind, class and nodes: see FoldedFinding. Empty:
// no more than that.
std::string cause_of(const Finding& finding, const std::string& what) {
  if (!finding.is_confirmed || finding.report_class == ReportClass::kLeak) return {};
  return finding.interface ? finding.interface->handle : what;
}

std::vector<FoldedFinding> fold(const std::vector<Finding>& findings) {
  // Two steps, as the nodes are part of the cause. First all findings about the same key or route
  // are put together, which gives the list of its nodes. Then those with the same cause and the
  // same list become one row. The order is that of the first finding of each row.
  using Fault = std::tuple<FindingKind, ReportClass, std::string, std::string>;
  std::map<Fault, std::vector<const Finding*>> by_fault;
  std::vector<Fault> faults;
  for (const Finding& finding : findings) {
    const std::string owner = finding.interface ? finding.interface->handle : std::string();
    const std::string what = what_of(finding);
    const auto [place, is_new] =
        by_fault.try_emplace({finding.kind, finding.report_class, owner, what});
    if (is_new) faults.push_back(place->first);
    place->second.push_back(&finding);
  }
  std::map<std::tuple<FindingKind, ReportClass, std::string, std::vector<std::string>, bool>,
           std::size_t>
      rows_by_cause;
  std::vector<FoldedFinding> rows;
  for (const Fault& fault : faults) {
    const std::vector<const Finding*>& same = by_fault[fault];
    std::vector<std::string> nodes;
    nodes.reserve(same.size());
    for (const Finding* const finding : same) nodes.push_back(finding->node);
    const Finding& first = *same.front();
    const std::string cause = cause_of(first, what_of(first));
    const auto [place, is_new] = rows_by_cause.try_emplace(
        {std::get<0>(fault), std::get<1>(fault), cause, nodes, first.is_confirmed}, rows.size());
    if (is_new) rows.push_back({&first, {}, std::move(nodes)});
    if (first.interface &&
        rows[place->second].first->interface->handle != first.interface->handle) {
      rows[place->second].is_of_several = true;
    }
    std::string what = first.route ? first.route->mdt_handle : first.key;
    rows[place->second].what.push_back(what.empty() ? "-" : std::move(what));
  }
  std::stable_partition(rows.begin(), rows.end(),
                        [](const FoldedFinding& row) { return row.first->is_confirmed; });
  return rows;
}

std::string listed(const std::vector<std::string>& texts, std::size_t most) {
  const std::size_t shown = std::min(texts.size(), most);
  std::string text = fmt::format(
      "{}", fmt::join(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(shown), " "));
  if (shown < texts.size()) text += fmt::format(" ... ({})", texts.size());
  return text;
}

void write_findings(const Report& report, std::size_t most, Text& text) {
  if (report.findings.empty()) return;
  std::size_t lines = 0;
  std::size_t unconfirmed = 0;
  for (const Finding& finding : report.findings) {
    lines += finding.times;
    if (!finding.is_confirmed) ++unconfirmed;
  }
  const std::vector<FoldedFinding> rows = fold(report.findings);
  text.line("");
  text.line("Findings: {}, printed as {}", report.findings.size(), counted(lines, "line"));
  Table table({{"what", {}}, {"class", {}}, {"of", {}}, {"on node", {}}, {"keys", {}}});
  for (const FoldedFinding& row : rows) {
    if (most == 0) break;
    const Finding& first = *row.first;
    std::string kind(kind_words(first.kind));
    if (!first.is_confirmed) kind += " (unconfirmed)";
    table.add({{kind, first.is_confirmed ? Verdict::kInconsistent : Verdict::kNotVerified},
               {std::string(class_name(first.report_class)), {}},
               {row.is_of_several ? "several" : printable(fold_name(first)), {}},
               {listed(row.nodes, kKeysShown), {}},
               {listed(row.what, kKeysShown), {}}});
    if (&row - rows.data() + 1 == static_cast<std::ptrdiff_t>(most)) break;
  }
  table.write(text);
  if (rows.size() > most) text.line("  ... and {} more", rows.size() - most);
  if (unconfirmed > 0) {
    text.line("  Unconfirmed findings depend on something that was not verified, see below.");
  }
}

std::string places_text(const std::vector<std::string>& nodes, std::vector<ReportClass> classes) {
  std::string text;
  if (!nodes.empty()) {
    text = fmt::format("node{} {}", nodes.size() == 1 ? "" : "s", fmt::join(nodes, ", "));
  }
  const std::vector<ReportClass> interfaces = classes_of(Check::kInterfaces);
  std::vector<std::string_view> names;
  if (std::ranges::includes(classes, interfaces)) {
    names.emplace_back("all classes of interfaces");
    std::erase_if(classes, [](ReportClass of) { return of != ReportClass::kMulticast; });
  }
  for (const ReportClass of : classes) names.push_back(class_name(of));
  if (names.empty()) return text;
  return fmt::format("{}{}{}", text, text.empty() ? "" : ", ", fmt::join(names, ", "));
}

// Lists what was not looked at, one entry for each reason. A lost card would otherwise give an
// entry for each of its seven classes. First the classes of a node with the same reason are put
// together, then the nodes with the same classes and the same reason.
void write_places(const Report& report, bool by_design, std::string_view heading, Text& text) {
  struct Line {
    std::vector<std::string> nodes;
    std::vector<ReportClass> classes;
    const NotLookedAt* place = nullptr;
  };
  const auto has_same_reason = [](const Line& line, const NotLookedAt& place) {
    return line.place->reason == place.reason && line.place->detail == place.detail;
  };
  std::vector<Line> of_nodes;
  for (const NotLookedAt& place : report.not_looked_at) {
    if (place.is_by_design != by_design) continue;
    const auto known = std::ranges::find_if(of_nodes, [&](const Line& line) {
      return line.place->node == place.node && has_same_reason(line, place);
    });
    Line& line = known != of_nodes.end() ? *known : of_nodes.emplace_back();
    if (line.place == nullptr) line.place = &place;
    if (place.report_class) line.classes.push_back(*place.report_class);
  }
  std::vector<Line> lines;
  for (Line& of_node : of_nodes) {
    const auto known = std::ranges::find_if(lines, [&](const Line& line) {
      return line.classes == of_node.classes && has_same_reason(line, *of_node.place);
    });
    Line& line = known != lines.end() ? *known : lines.emplace_back();
    if (line.place == nullptr) line = of_node;
    if (!of_node.place->node.empty()) line.nodes.push_back(of_node.place->node);
  }
  if (lines.empty()) return;
  text.line("");
  text.line("{}", heading);
  for (const Line& line : lines) {
    std::string what = places_text(line.nodes, line.classes);
    if (!what.empty()) what += ": ";
    if (line.place->reason) what.append(reason_text(*line.place->reason)).append(": ");
    text.wrapped("  ", what + line.place->detail);
  }
}

void write_coverage(const Report& report, Text& text) {
  const Coverage& coverage = report.coverage;
  std::vector<std::string> parts = {
      fmt::format("{} of {} reached", coverage.nodes_reached, counted(coverage.nodes, "node"))};
  if (std::ranges::find(report.checks, Check::kInterfaces) != report.checks.end()) {
    parts.push_back(counted(coverage.expected_keys, "expected key"));
    parts.push_back(counted(coverage.programmed_keys, "programmed key"));
  }
  if (std::ranges::find(report.checks, Check::kMulticast) != report.checks.end()) {
    parts.push_back(counted(coverage.routes, "route"));
  }
  parts.push_back(counted(coverage.dumps_failed, "dump") + " failed");
  const auto seconds = std::chrono::duration<double>(report.took).count();
  parts.push_back(fmt::format("{:.1f} s", seconds));
  text.line("");
  text.wrapped("Coverage: ", fmt::format("{}", fmt::join(parts, ", ")));
}

bool is_compared(const NodeReport& node) {
  return std::ranges::any_of(node.cells, [](const Cell& cell) { return cell.compared > 0; });
}

std::string last_word(const Report& report) {
  switch (report.verdict) {
    case Verdict::kConsistent:
      return "the hardware holds what it must, and nothing else";
    case Verdict::kInconsistent:
      return "the hardware differs from what it must hold";
    case Verdict::kRunFailed:
      return "the check could not be carried out";
    case Verdict::kNotVerified:
    case Verdict::kNothing:
    case Verdict::kByDesign:
      if (report.ended_early) {
        return fmt::format("ended early ({}), so not all was checked",
                           reason_text(*report.ended_early));
      }
      return std::ranges::any_of(report.nodes, is_compared)
                 ? "nothing is known to be wrong, but not all was checked"
                 : "nothing was compared";
  }
  return {};
}

}  // namespace

std::string summarize(const Report& report, const SummaryStyle& style) {
  Text text(style.has_colour);
  write_nodes(report, text);
  write_findings(report, style.most_findings, text);
  write_places(report, false, "Not verified:", text);
  write_places(report, true, "Not looked at, by design:", text);
  for (const RunError& error : report.run_errors) {
    text.line("");
    text.wrapped("", fmt::format("The {} check failed: {}", check_name(error.check), error.error));
  }
  write_coverage(report, text);
  text.line("{}: {}", text.painted(verdict_text(report.verdict), report.verdict),
            last_word(report));
  return text.take();
}

}  // namespace zorbec
