#include "host/report/summary.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// A node with the same verdict in each class of the interface check.
NodeReport row_with(const std::string& name, Verdict verdict) {
  NodeReport node;
  node.name = name;
  node.verdict = verdict;
  for (const ReportClass of : classes_of(Check::kInterfaces)) {
    node.cells.push_back({.report_class = of, .verdict = verdict, .compared = 6});
  }
  return node;
}

// An interface check of two nodes that found nothing wrong.
Report consistent_report() {
  Report report;
  report.checks = {Check::kInterfaces};
  report.verdict = Verdict::kConsistent;
  report.took = std::chrono::milliseconds(840);
  report.coverage = {.nodes = 2, .nodes_reached = 2, .expected_keys = 84, .programmed_keys = 72};
  report.nodes = {row_with("RP0", Verdict::kConsistent), row_with("1", Verdict::kConsistent)};
  return report;
}

Cell& cell_at(Report& report, const std::string& name, ReportClass of) {
  for (NodeReport& node : report.nodes) {
    for (Cell& cell : node.cells) {
      if (node.name == name && cell.report_class == of) return cell;
    }
  }
  throw std::out_of_range("no cell of " + name);
}

Finding missing(const std::string& node, const std::string& key, const std::string& handle = "0x8",
                const std::string& name = "Bundle-Ether6") {
  Finding finding;
  finding.kind = FindingKind::kMissingKey;
  finding.node = node;
  finding.report_class = InterfaceClass::kBundle;
  finding.key = key;
  finding.interface = {handle, name, {node}};
  finding.is_confirmed = true;
  finding.times = 1;
  return finding;
}

Finding leaked(const std::string& node, const std::string& key) {
  Finding finding;
  finding.kind = FindingKind::kLeakedKey;
  finding.node = node;
  finding.report_class = ReportClass::kLeak;
  finding.key = key;
  finding.is_confirmed = true;
  finding.times = 1;
  return finding;
}

Finding faulty(const std::string& node, std::uint32_t number, const std::string& handle,
               FindingKind kind = FindingKind::kCardHandle) {
  Finding finding;
  finding.kind = kind;
  finding.check = Check::kMulticast;
  finding.node = node;
  finding.report_class = ReportClass::kMulticast;
  finding.route = {number, "RP0", "0x13bc", handle};
  finding.is_confirmed = true;
  finding.times = 1;
  return finding;
}

// The lines of a summary between the line that begins with `heading` and the next empty one.
std::vector<std::string> lines_under(const std::string& summary, const std::string& heading) {
  std::vector<std::string> lines;
  std::istringstream text(summary);
  bool is_inside = false;
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with(heading)) {
      is_inside = true;
    } else if (line.empty()) {
      is_inside = false;
    } else if (is_inside) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::vector<std::string> rows_of_findings(std::vector<Finding> findings, SummaryStyle style = {}) {
  Report report = consistent_report();
  report.findings = std::move(findings);
  return lines_under(summarize(report, style), "Findings: ");
}

using Rows = std::vector<std::string>;

TEST(Summary, of_a_consistent_router) {
  EXPECT_EQ(summarize(consistent_report(), {}),
            R"(  node  verdict     port  port-sub  bundle  bundle-sub  BVI  GRE  leaks
  RP0   CONSISTENT  ok    ok        ok      ok          ok   ok   ok
  1     CONSISTENT  ok    ok        ok      ok          ok   ok   ok

Coverage: 2 of 2 nodes reached, 84 expected keys, 72 programmed keys, 0 dumps
          failed, 0.8 s
CONSISTENT: the hardware holds what it must, and nothing else
)");
}

TEST(Summary, of_a_router_on_which_everything_went_wrong) {
  Report report = consistent_report();
  report.verdict = Verdict::kInconsistent;
  report.checks = {Check::kInterfaces, Check::kMulticast};
  report.nodes = {row_with("RP0", Verdict::kInconsistent), row_with("1", Verdict::kNotVerified),
                  row_with("2", Verdict::kByDesign)};
  report.nodes[0].cells.push_back({ReportClass::kMulticast, Verdict::kInconsistent, {}, {}, 5, 4});
  cell_at(report, "RP0", InterfaceClass::kPhysical) = {
      InterfaceClass::kPhysical, Verdict::kInconsistent, {}, {}, 6, 12};
  cell_at(report, "RP0", InterfaceClass::kGre).verdict = Verdict::kNothing;
  cell_at(report, "RP0", ReportClass::kLeak).findings = 3;
  report.coverage.routes = 1;
  report.coverage.dumps_failed = 1;
  report.coverage.nodes = 3;
  report.findings = {missing("RP0", "0x76"), leaked("RP0", "0x99"), faulty("RP0", 7, "0x20")};
  report.findings[0].times = 4;
  report.findings[1].is_confirmed = false;
  report.not_looked_at = {{"1", InterfaceClass::kBvi, false, Reason::kStale, "pidb_bvi_intf: old"},
                          {"2", std::nullopt, true, std::nullopt, "the PIDB of a standby node"}};
  report.run_errors = {{Check::kMulticast, "no node table"}};
  EXPECT_EQ(
      summarize(report, {}),
      R"(  node  verdict       port        port-sub   bundle     bundle-sub  BVI        GRE   leaks     multicast
  RP0   INCONSISTENT  12 missing  0 missing  0 missing  0 missing   0 missing  none  3 leaked  4 wrong
  1     NOT VERIFIED  ?           ?          ?          ?           ?          ?     ?         ?
  2     BY DESIGN     -           -          -          -           -          -     -         ?

Findings: 3, printed as 6 lines
  what                      class      of             on node  keys
  missing key               bundle     Bundle-Ether6  RP0      0x76
  wrong handle              multicast  tunnel 0x13bc  RP0      0x20
  leaked key (unconfirmed)  leak       nobody         RP0      0x99
  Unconfirmed findings depend on something that was not verified, see below.

Not verified:
  node 1, bvi: stale: pidb_bvi_intf: old

Not looked at, by design:
  node 2: the PIDB of a standby node

The multicast check failed: no node table

Coverage: 2 of 3 nodes reached, 84 expected keys, 72 programmed keys, 1 route, 1
          dump failed, 0.8 s
INCONSISTENT: the hardware differs from what it must hold
)");
}

TEST(Summary, of_no_node) {
  Report report;
  report.checks = {Check::kMulticast};
  EXPECT_EQ(summarize(report, {}), R"(No node was checked.

Coverage: 0 of 0 nodes reached, 0 routes, 0 dumps failed, 0.0 s
NOT VERIFIED: nothing was compared
)");
}

// The last line.

struct LastLineCase : unit::Row {
  Verdict verdict;
  std::optional<Reason> ended_early;
  std::size_t compared;
  std::string line;
};

const LastLineCase kLastLineCases[] = {
    {{"consistent"},
     Verdict::kConsistent,
     {},
     6,
     "CONSISTENT: the hardware holds what it must, and nothing else"},
    {{"inconsistent"},
     Verdict::kInconsistent,
     {},
     6,
     "INCONSISTENT: the hardware differs from what it must hold"},
    {{"run_failed"}, Verdict::kRunFailed, {}, 6, "RUN FAILED: the check could not be carried out"},
    {{"not_verified"},
     Verdict::kNotVerified,
     {},
     6,
     "NOT VERIFIED: nothing is known to be wrong, but not all was checked"},
    {{"not_verified_and_nothing_compared"},
     Verdict::kNotVerified,
     {},
     0,
     "NOT VERIFIED: nothing was compared"},
    {{"interrupted"},
     Verdict::kNotVerified,
     Reason::kInterrupted,
     6,
     "NOT VERIFIED: ended early (interrupted), so not all was checked"},
    {{"deadline"},
     Verdict::kNotVerified,
     Reason::kDeadline,
     0,
     "NOT VERIFIED: ended early (deadline), so not all was checked"},
    {{"deadline_after_something_was_found"},
     Verdict::kInconsistent,
     Reason::kDeadline,
     6,
     "INCONSISTENT: the hardware differs from what it must hold"},
};

class LastLine : public ::testing::TestWithParam<LastLineCase> {};

TEST_P(LastLine, says_what_the_verdict_means) {
  Report report = consistent_report();
  report.verdict = GetParam().verdict;
  report.ended_early = GetParam().ended_early;
  for (NodeReport& node : report.nodes) {
    for (Cell& cell : node.cells) cell.compared = GetParam().compared;
  }
  const std::string summary = summarize(report, {});
  EXPECT_EQ(summary.substr(summary.rfind('\n', summary.size() - 2) + 1), GetParam().line + "\n");
}

INSTANTIATE_TEST_SUITE_P(Verdicts, LastLine, ::testing::ValuesIn(kLastLineCases),
                         unit::row_name<LastLineCase>);

// Findings in rows.

struct FoldCase : unit::Row {
  std::vector<Finding> findings;
  Rows rows;  // those below the heading
};

class Fold : public ::testing::TestWithParam<FoldCase> {};

TEST_P(Fold, findings_with_one_cause_share_a_row) {
  Rows rows = rows_of_findings(GetParam().findings);
  ASSERT_FALSE(rows.empty());
  rows.erase(rows.begin());
  EXPECT_EQ(rows, GetParam().rows);
}

Finding unconfirmed(Finding finding) {
  finding.is_confirmed = false;
  return finding;
}

INSTANTIATE_TEST_SUITE_P(
    Findings, Fold,
    ::testing::Values(
        FoldCase{"keys_of_an_interface",
                 {missing("1", "0x76"), missing("1", "0x77")},
                 {"  missing key  bundle  Bundle-Ether6  1        0x76 0x77"}},
        FoldCase{"nodes_that_lack_a_key",
                 {missing("1", "0x76"), missing("2", "0x76")},
                 {"  missing key  bundle  Bundle-Ether6  1 2      0x76"}},
        FoldCase{"keys_that_the_same_nodes_lack",
                 {missing("1", "0x76"), missing("1", "0x77"), missing("2", "0x76"),
                  missing("2", "0x77")},
                 {"  missing key  bundle  Bundle-Ether6  1 2      0x76 0x77"}},
        FoldCase{"keys_that_other_nodes_lack",
                 {missing("1", "0x76"), missing("1", "0x77"), missing("2", "0x77")},
                 {"  missing key  bundle  Bundle-Ether6  1        0x76",
                  "  missing key  bundle  Bundle-Ether6  1 2      0x77"}},
        FoldCase{"two_interfaces",
                 {missing("1", "0x76"), missing("1", "0x76", "0x9", "Bundle-Ether7")},
                 {"  missing key  bundle  Bundle-Ether6  1        0x76",
                  "  missing key  bundle  Bundle-Ether7  1        0x76"}},
        FoldCase{"interface_without_a_name",
                 {missing("1", "0x76", "0x3c000058", "")},
                 {"  missing key  bundle  0x3c000058  1        0x76"}},
        FoldCase{"name_that_is_no_text_for_a_terminal",
                 {missing("1", "0x76", "0x8", "a\x1b[2J\n")},
                 {"  missing key  bundle  a?[2J?  1        0x76"}},
        FoldCase{"leaks_of_a_node",
                 {leaked("1", "0x76"), leaked("1", "0x77"), leaked("2", "0x78")},
                 {"  leaked key  leak   nobody  1        0x76 0x77",
                  "  leaked key  leak   nobody  2        0x78"}},
        FoldCase{"leaks_of_the_same_nodes",
                 {leaked("1", "0x76"), leaked("1", "0x77"), leaked("2", "0x76")},
                 {"  leaked key  leak   nobody  1 2      0x76",
                  "  leaked key  leak   nobody  1        0x77"}},
        FoldCase{"five_keys_are_too_many",
                 {leaked("1", "0x1"), leaked("1", "0x2"), leaked("1", "0x3"), leaked("1", "0x4"),
                  leaked("1", "0x5")},
                 {"  leaked key  leak   nobody  1        0x1 0x2 0x3 0x4 ... (5)"}},
        FoldCase{"four_keys_are_not",
                 {leaked("1", "0x1"), leaked("1", "0x2"), leaked("1", "0x3"), leaked("1", "0x4")},
                 {"  leaked key  leak   nobody  1        0x1 0x2 0x3 0x4"}},
        FoldCase{"five_nodes_are_too_many",
                 {leaked("1", "0x1"), leaked("2", "0x1"), leaked("3", "0x1"), leaked("4", "0x1"),
                  leaked("5", "0x1")},
                 {"  leaked key  leak   nobody  1 2 3 4 ... (5)  0x1"}},
        FoldCase{"route_on_two_cards",
                 {faulty("1", 7, "0x20"), faulty("2", 7, "0x20")},
                 {"  wrong handle  multicast  tunnel 0x13bc  1 2      0x20"}},
        FoldCase{"routes_are_causes_of_their_own",
                 {faulty("1", 7, "0x20"), faulty("1", 8, "0x20")},
                 {"  wrong handle  multicast  tunnel 0x13bc  1        0x20",
                  "  wrong handle  multicast  tunnel 0x13bc  1        0x20"}},
        FoldCase{"route_whose_handle_was_not_compared",
                 {faulty("1", 7, "", FindingKind::kMissingBud)},
                 {"  missing bud object  multicast  tunnel 0x13bc  1        -"}},
        FoldCase{"processors_and_cards_wrong_handles",
                 {faulty("1", 7, "0x20"), faulty("1", 7, "0x20", FindingKind::kRouteHandle)},
                 {"  wrong handle  multicast  tunnel 0x13bc  1        0x20",
                  "  wrong handle  multicast  tunnel 0x13bc  1        0x20"}},
        FoldCase{"unconfirmed_ones_come_last",
                 {unconfirmed(leaked("1", "0x76")), leaked("2", "0x77")},
                 {"  leaked key                leak   nobody  2        0x77",
                  "  leaked key (unconfirmed)  leak   nobody  1        0x76",
                  "  Unconfirmed findings depend on something that was not verified, see below."}},
        FoldCase{"unconfirmed_ones_of_a_class_share_a_row",
                 {unconfirmed(missing("1", "0x76")),
                  unconfirmed(missing("1", "0x77", "0x9", "Bundle-Ether7"))},
                 {"  missing key (unconfirmed)  bundle  several  1        0x76 0x77",
                  "  Unconfirmed findings depend on something that was not verified, see below."}}),
    unit::row_name<FoldCase>);

TEST(Summary, findings_and_their_lines_are_counted) {
  Report report = consistent_report();
  report.findings = {leaked("1", "0x76")};
  EXPECT_THAT(summarize(report, {}), HasSubstr("\nFindings: 1, printed as 1 line\n"));
  report.findings.push_back(missing("1", "0x76"));
  report.findings.back().times = 3;
  EXPECT_THAT(summarize(report, {}), HasSubstr("\nFindings: 2, printed as 4 lines\n"));
}

TEST(Summary, only_so_many_rows_of_findings_are_shown) {
  const std::vector<Finding> findings = {leaked("1", "0x76"), leaked("2", "0x77"),
                                         leaked("3", "0x78")};
  EXPECT_EQ(rows_of_findings(findings, {.most_findings = 3}),
            (Rows{"  what        class  of      on node  keys",
                  "  leaked key  leak   nobody  1        0x76",
                  "  leaked key  leak   nobody  2        0x77",
                  "  leaked key  leak   nobody  3        0x78"}));
  EXPECT_EQ(rows_of_findings(findings, {.most_findings = 1}),
            (Rows{"  what        class  of      on node  keys",
                  "  leaked key  leak   nobody  1        0x76", "  ... and 2 more"}));
  EXPECT_EQ(rows_of_findings(findings, {.most_findings = 0}),
            (Rows{"  what  class  of  on node  keys", "  ... and 3 more"}));
}

TEST(Summary, rows_are_limited_to_twenty) {
  std::vector<Finding> findings;
  for (int node = 0; node < 21; ++node)
    findings.push_back(leaked(std::to_string(node), "0x76" + std::to_string(node)));
  const Rows rows = rows_of_findings(findings);
  ASSERT_EQ(rows.size(), 22U);
  EXPECT_EQ(rows.back(), "  ... and 1 more");
}

// What was not looked at.

using Places = std::vector<NotLookedAt>;

struct PlacesCase : unit::Row {
  Places places;
  Rows rows;
};

class PlacesNotLookedAt : public ::testing::TestWithParam<PlacesCase> {};

TEST_P(PlacesNotLookedAt, stand_in_one_line_for_one_reason) {
  Report report = consistent_report();
  report.not_looked_at = GetParam().places;
  EXPECT_EQ(lines_under(summarize(report, {}), "Not verified:"), GetParam().rows);
}

NotLookedAt stale(const std::string& node, std::optional<ReportClass> of,
                  const std::string& detail = "old") {
  return {node, of, false, Reason::kStale, detail};
}

Places of_all_interfaces(const std::string& node) {
  Places places;
  for (const ReportClass of : classes_of(Check::kInterfaces)) places.push_back(stale(node, of));
  return places;
}

Places joined_places(Places first, const Places& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

INSTANTIATE_TEST_SUITE_P(
    Places, PlacesNotLookedAt,
    ::testing::Values(
        PlacesCase{"everywhere", {stale("", {})}, {"  stale: old"}},
        PlacesCase{"node", {stale("1", {})}, {"  node 1: stale: old"}},
        PlacesCase{"class_everywhere", {stale("", InterfaceClass::kGre)}, {"  gre: stale: old"}},
        PlacesCase{"classes_of_a_node",
                   {stale("1", InterfaceClass::kBvi), stale("1", InterfaceClass::kGre)},
                   {"  node 1, bvi, gre: stale: old"}},
        PlacesCase{"same_class_of_nodes",
                   {stale("1", InterfaceClass::kBvi), stale("2", InterfaceClass::kBvi)},
                   {"  nodes 1, 2, bvi: stale: old"}},
        PlacesCase{"other_classes_of_nodes",
                   {stale("1", InterfaceClass::kBvi), stale("2", InterfaceClass::kGre)},
                   {"  node 1, bvi: stale: old", "  node 2, gre: stale: old"}},
        PlacesCase{"other_details",
                   {stale("1", InterfaceClass::kBvi), stale("1", InterfaceClass::kGre, "older")},
                   {"  node 1, bvi: stale: old", "  node 1, gre: stale: older"}},
        PlacesCase{"other_reasons",
                   {stale("1", InterfaceClass::kBvi),
                    {"1", InterfaceClass::kGre, false, Reason::kEmpty, "old"}},
                   {"  node 1, bvi: stale: old", "  node 1, gre: empty: old"}},
        PlacesCase{"all_classes_of_nodes",
                   joined_places(of_all_interfaces("1"), of_all_interfaces("2")),
                   {"  nodes 1, 2, all classes of interfaces: stale: old"}},
        PlacesCase{"all_classes_and_multicast",
                   joined_places(of_all_interfaces("1"), {stale("1", ReportClass::kMulticast)}),
                   {"  node 1, all classes of interfaces, multicast: stale: old"}},
        PlacesCase{"detail_that_is_no_text_for_a_terminal",
                   {stale("1", {}, "a\x1b[2J")},
                   {"  node 1: stale: a?[2J"}},
        PlacesCase{
            "eighty_columns",
            {stale("1", InterfaceClass::kBvi,
                   "/tmp/pidb_bvi_intf_1.dat is older than this run by 2 days; status 255")},
            {"  node 1, bvi: stale: /tmp/pidb_bvi_intf_1.dat is older than this run by 2 days;",
             "  status 255"}}),
    unit::row_name<PlacesCase>);

TEST(Summary, by_design_is_told_apart_and_without_a_reason) {
  Report report = consistent_report();
  report.not_looked_at = {{"RP0", {}, true, {}, "the PIDB of a route processor"},
                          {"1", ReportClass::kLeak, true, {}, "keys of bundles: 4"},
                          {"", {}, true, {}, "multicast state: not asked for"}};
  EXPECT_EQ(lines_under(summarize(report, {}), "Not looked at, by design:"),
            (Rows{"  node RP0: the PIDB of a route processor", "  node 1, leak: keys of bundles: 4",
                  "  multicast state: not asked for"}));
  EXPECT_THAT(summarize(report, {}), Not(HasSubstr("Not verified:")));
}

TEST(Summary, failed_checks_are_told_one_by_one) {
  Report report = consistent_report();
  report.run_errors = {{Check::kInterfaces, "no node table"},
                       {Check::kMulticast, std::string(80, 'x')}};
  EXPECT_THAT(summarize(report, {}), HasSubstr("\n\nThe interfaces check failed: no node table\n"
                                               "\nThe multicast check failed:\n" +
                                               std::string(80, 'x') + "\n\nCoverage: "));
}

// Colours.

std::string painted(const std::string& codes, const std::string& text) {
  return codes + text + "\x1b[0m";
}

TEST(Summary, has_no_colour_unasked) {
  EXPECT_THAT(summarize(consistent_report(), {}), Not(HasSubstr("\x1b")));
}

TEST(Summary, verdicts_have_colours) {
  Report report = consistent_report();
  report.nodes = {row_with("1", Verdict::kConsistent), row_with("2", Verdict::kInconsistent),
                  row_with("3", Verdict::kNotVerified), row_with("4", Verdict::kByDesign)};
  report.verdict = Verdict::kRunFailed;
  const std::string summary = summarize(report, {.has_colour = true});
  const std::string green = "\x1b[32m";
  const std::string red = "\x1b[1m\x1b[31m";
  const std::string yellow = "\x1b[33m";
  const std::string faint = "\x1b[2m";
  EXPECT_THAT(summary,
              AllOf(HasSubstr("  1     " + painted(green, "CONSISTENT") + "    " +
                              painted(green, "ok") + "         " + painted(green, "ok")),
                    HasSubstr("  2     " + painted(red, "INCONSISTENT") + "  " +
                              painted(red, "0 missing") + "  "),
                    HasSubstr("  3     " + painted(yellow, "NOT VERIFIED") + "  " +
                              painted(yellow, "?") + "          "),
                    HasSubstr("  4     " + painted(faint, "BY DESIGN") + "     " +
                              painted(faint, "-") + "          "),
                    HasSubstr("\n" + painted(red, "RUN FAILED") + ": the check could not")));
}

TEST(Summary, colours_change_nothing_else) {
  Report report = consistent_report();
  report.nodes.push_back(row_with("2", Verdict::kInconsistent));
  report.findings = {leaked("2", "0x76"), unconfirmed(leaked("2", "0x77"))};
  std::string coloured = summarize(report, {.has_colour = true});
  for (std::size_t at = 0; (at = coloured.find('\x1b', at)) != std::string::npos;) {
    coloured.erase(at, coloured.find('m', at) - at + 1);
  }
  EXPECT_EQ(coloured, summarize(report, {}));
}

}  // namespace
}  // namespace zorbec
