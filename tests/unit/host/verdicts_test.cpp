#include "host/verdict/verdicts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using unit::Row;
using unit::row_name;

constexpr InterfaceClass kPort = InterfaceClass::kPhysical;
constexpr InterfaceClass kBundle = InterfaceClass::kBundle;
constexpr InterfaceClass kGre = InterfaceClass::kGre;

// A node whose interfaces and keys were all read and compared, and nothing was wrong.
NodeFacts sound_node(const std::string& name, bool dumps_pidb) {
  NodeFacts node;
  node.name = name;
  node.address = "192.0.16." + name;
  node.type = dumps_pidb ? "LC" : "RP";
  node.role = "Active";
  node.has_worker = true;
  node.dumps_pidb = dumps_pidb;
  for (ClassFacts& of_class : node.classes) {
    if (dumps_pidb) of_class.interfaces = 2;
    of_class.expected = 6;
  }
  if (dumps_pidb) node.has_tunnels = true;
  node.programmed = 36;
  node.leaks = event::LeaksChecked{.node = {}, .programmed = 36};
  return node;
}

// The interface check of RP0 and two cards.
RunFacts sound_run() {
  RunFacts run;
  run.model_code = 1;
  run.nodes = {sound_node("RP0", false), sound_node("1", true), sound_node("2", true)};
  return run;
}

// A key of a class that is missing on a node, of an interface that `owners` report.
void add_missing(RunFacts& run, const std::string& node, ReportClass of,
                 std::vector<std::string> owners) {
  const std::string id = "missing-key/" + node;
  Finding& finding = run.findings[id];
  finding.id = id;
  finding.kind = FindingKind::kMissingKey;
  finding.node = node;
  finding.report_class = of;
  finding.interface = {"0x8", "", std::move(owners)};
  finding.times = 1;
}

void add_leaked(RunFacts& run, const std::string& node) {
  const std::string id = "leaked-key/" + node;
  Finding& finding = run.findings[id];
  finding.id = id;
  finding.kind = FindingKind::kLeakedKey;
  finding.node = node;
  finding.report_class = ReportClass::kLeak;
  finding.times = 1;
}

const Problem kLost{Reason::kUnreachable, "PIDB dump", "status 255"};
const Problem kStale{Reason::kStale, "pidb_physical", "old"};

NodeFacts& card(RunFacts& run) {
  return run.nodes[1];
}

struct VerdictCase : Row {
  std::function<void(RunFacts&)> change;  // of the sound run
  ReportClass of;                         // the cell of `node` that is looked at
  Verdict cell;
  Verdict report;
  std::optional<Reason> reason = std::nullopt;
  std::string node = "1";
};

const VerdictCase kVerdictCases[] = {
    {{"all_is_well"},
     [](RunFacts&) {},
     InterfaceClass::kPhysical,
     Verdict::kConsistent,
     Verdict::kConsistent},
    {{"key_is_missing"},
     [](RunFacts& run) { add_missing(run, "1", InterfaceClass::kPhysical, {"1"}); },
     InterfaceClass::kPhysical,
     Verdict::kInconsistent,
     Verdict::kInconsistent},
    {{"missing_key_of_an_interface_in_a_stale_dump"},
     [](RunFacts& run) {
       card(run).classes[kPort].problems = {kStale};
       add_missing(run, "1", InterfaceClass::kPhysical, {"1"});
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kStale},
    {{"missing_key_that_one_sound_owner_asks_for"},
     [](RunFacts& run) {
       card(run).classes[kPort].problems = {kStale};
       add_missing(run, "1", InterfaceClass::kPhysical, {"1", "2"});
     },
     InterfaceClass::kPhysical,
     Verdict::kInconsistent,
     Verdict::kInconsistent},
    {{"key_is_left_over"},
     [](RunFacts& run) { add_leaked(run, "1"); },
     ReportClass::kLeak,
     Verdict::kInconsistent,
     Verdict::kInconsistent},
    {{"key_is_left_over_while_another_card_is_lost"},
     [](RunFacts& run) {
       run.nodes[2].pidb = {kLost};
       add_leaked(run, "1");
     },
     ReportClass::kLeak,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kUnreachable},
    {{"nothing_is_left_over_while_another_card_is_lost"},
     [](RunFacts& run) { run.nodes[2].pidb = {kLost}; },
     ReportClass::kLeak,
     Verdict::kConsistent,
     Verdict::kNotVerified},
    {{"interface_manager_was_not_asked"},
     [](RunFacts& run) {
       card(run).leak_questions = {{Reason::kCommandFailed, "leak check", "status 127"}};
     },
     ReportClass::kLeak,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kCommandFailed},
    {{"keys_marked_by_the_dump"},
     [](RunFacts& run) { card(run).leaks->marked_in_dump = 1; },
     ReportClass::kLeak,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kWrongShape},
    {{"ports_unread_so_bundles_lack_their_members_keys"},
     [](RunFacts& run) {
       card(run).classes[kPort].problems = {{Reason::kEmpty, "pidb_physical", "is empty"}};
     },
     InterfaceClass::kBundle,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kEmpty},
    {{"other_class_unread"},
     [](RunFacts& run) { card(run).classes[kBundle].problems = {kStale}; },
     InterfaceClass::kPhysical,
     Verdict::kConsistent,
     Verdict::kNotVerified},
    {{"no_keys_read_and_nothing_says_why"},
     [](RunFacts& run) { card(run).programmed.reset(); },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kWorkerEnded},
    {{"no_keys_read_as_the_node_was_lost_before"},
     [](RunFacts& run) {
       card(run).pidb = {kLost};
       card(run).programmed.reset();
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kUnreachable},
    {{"comparison_did_not_end"},
     [](RunFacts& run) {
       card(run).classes[kPort].expected.reset();
       card(run).verification = {{Reason::kWrongShape, "comparison", "no number"}};
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kWrongShape},
    {{"nobody_has_any"},
     [](RunFacts& run) {
       for (NodeFacts& node : run.nodes) node.classes[kBundle].expected = 0;
     },
     InterfaceClass::kBundle,
     Verdict::kNothing,
     Verdict::kConsistent},
    {{"no_tunnels_configured"},
     [](RunFacts& run) {
       for (NodeFacts& node : run.nodes) {
         if (node.dumps_pidb) node.has_tunnels = false;
         node.classes[kGre].expected = 0;
       }
     },
     InterfaceClass::kGre,
     Verdict::kByDesign,
     Verdict::kConsistent},
    {{"no_tunnels_configured_for_one_card_only"},
     [](RunFacts& run) { card(run).has_tunnels = false; },
     InterfaceClass::kGre,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kWrongShape},
    {{"card_without_any_interface"},
     [](RunFacts& run) {
       for (ClassFacts& of_class : card(run).classes) of_class.interfaces = 0;
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kNothingToCompare},
    {{"card_without_any_interface_and_an_unread_class"},
     [](RunFacts& run) {
       for (ClassFacts& of_class : card(run).classes) of_class.interfaces = 0;
       card(run).classes[kGre].problems = {kLost};
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kNothingToCompare},
    {{"processor_while_no_card_is_known"},
     [](RunFacts& run) {
       run.nodes[1].pidb = run.nodes[2].pidb = {kLost};
       run.nodes[0].classes[kGre].expected = 0;
     },
     InterfaceClass::kGre,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kUnreachable,
     "RP0"},
    {{"set_up_in_doubt"},
     [](RunFacts& run) {
       run.set_up = {{Reason::kEmpty, "set-up", "no banner"}};
       add_missing(run, "1", InterfaceClass::kPhysical, {"1"});
     },
     InterfaceClass::kPhysical,
     Verdict::kNotVerified,
     Verdict::kNotVerified,
     Reason::kEmpty},
    {{"run_failed"},
     [](RunFacts& run) { run.run_error = "no node table"; },
     InterfaceClass::kPhysical,
     Verdict::kConsistent,
     Verdict::kRunFailed},
};

const Cell& cell_of(const Report& report, const std::string& node, ReportClass of) {
  const auto row = std::ranges::find(report.nodes, node, &NodeReport::name);
  return *std::ranges::find(row->cells, of, &Cell::report_class);
}

class VerdictOf : public ::testing::TestWithParam<VerdictCase> {};

TEST_P(VerdictOf, cell_and_report) {
  const VerdictCase& row = GetParam();
  RunFacts run = sound_run();
  row.change(run);
  std::vector<RunFacts> runs;
  runs.push_back(std::move(run));
  const Report report = judge(std::move(runs), {}, std::nullopt);
  const Cell& cell = cell_of(report, row.node, row.of);
  EXPECT_EQ(verdict_text(cell.verdict), verdict_text(row.cell)) << cell.detail;
  EXPECT_EQ(cell.reason, row.reason) << cell.detail;
  EXPECT_EQ(verdict_text(report.verdict), verdict_text(row.report));
}

INSTANTIATE_TEST_SUITE_P(Interfaces, VerdictOf, ::testing::ValuesIn(kVerdictCases),
                         row_name<VerdictCase>);

TEST(Verdicts, no_node_is_no_pass) {
  std::vector<RunFacts> runs(1);
  EXPECT_EQ(judge(std::move(runs), {}, std::nullopt).verdict, Verdict::kNotVerified);
}

TEST(Verdicts, what_was_ended_early_is_no_pass) {
  std::vector<RunFacts> runs = {sound_run()};
  EXPECT_EQ(judge(std::move(runs), {}, Reason::kDeadline).verdict, Verdict::kNotVerified);
}

TEST(Verdicts, selection_limits_verdict_and_findings) {
  RunFacts run = sound_run();
  add_missing(run, "1", InterfaceClass::kPhysical, {"1"});
  std::vector<RunFacts> runs;
  runs.push_back(std::move(run));
  const Report report = judge(std::move(runs), {{"2"}, {"physical"}}, std::nullopt);
  EXPECT_EQ(report.verdict, Verdict::kConsistent);
  EXPECT_TRUE(report.findings.empty());
  ASSERT_EQ(report.nodes.size(), 1U);
  EXPECT_EQ(report.nodes.front().cells.size(), 1U);
}

TEST(Verdicts, doubt_of_the_first_set_up_holds_for_later_runs) {
  RunFacts interfaces = sound_run();
  interfaces.set_up = {{Reason::kEmpty, "set-up", "no banner"}};
  RunFacts multicast;
  multicast.check = Check::kMulticast;
  multicast.nodes = {sound_node("RP0", false)};
  multicast.nodes.front().routes = multicast.nodes.front().routes_compared = 3;
  std::vector<RunFacts> runs;
  runs.push_back(std::move(interfaces));
  runs.push_back(std::move(multicast));
  const Report report = judge(std::move(runs), {}, std::nullopt);
  EXPECT_EQ(cell_of(report, "RP0", ReportClass::kMulticast).reason, Reason::kEmpty);
}

}  // namespace
}  // namespace zorbec
