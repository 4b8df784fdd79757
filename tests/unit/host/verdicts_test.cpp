#include "host/verdict/verdicts.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform_probes.h"
#include "tests/unit/host/sound_run.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using unit::add_faulty_route;
using unit::add_leaked;
using unit::add_missing;
using unit::Row;
using unit::row_name;
using unit::sound_multicast_run;
using unit::sound_node;
using unit::sound_run;

constexpr InterfaceClass kPort = InterfaceClass::kPhysical;
constexpr InterfaceClass kBundle = InterfaceClass::kBundle;
constexpr InterfaceClass kGre = InterfaceClass::kGre;

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

Report report_of(RunFacts run, Selection selection = {}) {
  std::vector<RunFacts> runs;
  runs.push_back(std::move(run));
  return judge(std::move(runs), std::move(selection), std::nullopt);
}

const NodeReport& row_of(const Report& report, const std::string& node) {
  return *std::ranges::find(report.nodes, node, &NodeReport::name);
}

// What was not looked at, as "node/class/detail"; what costs the verdict begins with its reason.
std::vector<std::string> gaps_of(const Report& report) {
  std::vector<std::string> texts;
  for (const NotLookedAt& place : report.not_looked_at) {
    std::string text = place.reason ? std::string(reason_text(*place.reason)) + ": " : "";
    if (!place.is_by_design && !place.reason) text = "no reason: ";
    text += place.node + "/";
    if (place.report_class) text += class_name(*place.report_class);
    texts.push_back(text + "/" + place.detail);
  }
  return texts;
}

TEST(Verdicts, sound_run_tells_what_is_never_looked_at) {
  RunFacts run = sound_run();
  run.nodes.push_back(sound_node("RP1", false));
  run.nodes.back().role = "Standby";
  EXPECT_THAT(gaps_of(report_of(std::move(run))),
              ElementsAre("RP0//the PIDB of a route processor", "RP1//the PIDB of a standby node",
                          "//multicast state: not asked for"));
}

TEST(Verdicts, notes_cost_no_verdict) {
  RunFacts run = sound_run();
  card(run).notes = {{ReportClass::kLeak, "keys of bundles: 4"}, {{}, "of the node"}};
  run.notes = {{{}, "of the run"}};
  const Report report = report_of(std::move(run));
  EXPECT_EQ(report.verdict, Verdict::kConsistent);
  EXPECT_THAT(gaps_of(report),
              ElementsAre("RP0//the PIDB of a route processor", "1/leak/keys of bundles: 4",
                          "1//of the node", "//of the run", "//multicast state: not asked for"));
}

TEST(Verdicts, multicast_notes_are_told_too) {
  RunFacts run = sound_multicast_run();
  run.nodes.front().notes = {{{}, "of the node"}};
  const Report report = report_of(std::move(run));
  EXPECT_EQ(report.verdict, Verdict::kConsistent);
  EXPECT_THAT(gaps_of(report), ElementsAre("RP0//of the node", "//interfaces: not asked for"));
}

TEST(Verdicts, single_processor_has_no_multicast_state) {
  RunFacts run = sound_run();
  run.model_code = 7;
  EXPECT_THAT(gaps_of(report_of(std::move(run))),
              Contains("//multicast state: a single-processor model has none to compare"));
}

TEST(Verdicts, model_that_is_not_known_is_told) {
  RunFacts run = sound_run();
  run.model_code = kModelUnknown;
  const Report report = report_of(std::move(run));
  EXPECT_EQ(report.verdict, Verdict::kConsistent);
  EXPECT_THAT(gaps_of(report), Contains("//the router's model: its name is not known here, so it "
                                        "was checked as a standard model"));
}

TEST(Verdicts, every_class_that_was_not_verified_is_told) {
  RunFacts run = sound_run();
  card(run).classes[kBundle].problems = {kStale};
  EXPECT_THAT(
      gaps_of(report_of(std::move(run))),
      ElementsAre(
          "stale: //some interfaces of node 1 are not known; their keys were checked on no node",
          "RP0//the PIDB of a route processor", "stale: 1/bundle/pidb_physical: old",
          "//multicast state: not asked for"));
}

TEST(Verdicts, problem_of_several_dumps_is_told_once) {
  RunFacts run = sound_run();
  card(run).pidb = card(run).pmdb = {kStale};
  card(run).verification = {kStale, kLost};
  const Report report = report_of(std::move(run));
  EXPECT_EQ(row_of(report, "1").problems.size(), 2U);
  EXPECT_EQ(report.coverage.dumps_failed, 2U);
}

TEST(Verdicts, node_that_could_not_be_reached_is_not_counted) {
  RunFacts run = sound_run();
  card(run).pmdb = {kLost};
  run.nodes[2].has_worker = false;
  const Report report = report_of(std::move(run));
  EXPECT_FALSE(row_of(report, "1").is_reached);
  EXPECT_FALSE(row_of(report, "2").is_reached);
  EXPECT_EQ(report.coverage.nodes, 3U);
  EXPECT_EQ(report.coverage.nodes_reached, 1U);
}

TEST(Verdicts, coverage_counts_what_was_compared) {
  RunFacts run = sound_run();
  run.commands = 9;
  run.commands_failed = 2;
  const Coverage coverage = report_of(std::move(run)).coverage;
  EXPECT_EQ(coverage.interfaces, 2U * 6U * 2U);
  EXPECT_EQ(coverage.expected_keys, 3U * 6U * 6U);
  EXPECT_EQ(coverage.programmed_keys, 3U * 36U);
  EXPECT_EQ(coverage.routes, 0U);
  EXPECT_EQ(coverage.dumps_failed, 0U);
  EXPECT_EQ(coverage.commands, 9U);
  EXPECT_EQ(coverage.commands_failed, 2U);
}

TEST(Verdicts, both_checks_share_the_rows_of_nodes) {
  std::vector<RunFacts> runs = {sound_run(), sound_multicast_run()};
  runs[1].scale_mode = 2;
  const Report report = judge(std::move(runs), {}, std::nullopt);
  EXPECT_EQ(report.verdict, Verdict::kConsistent);
  ASSERT_EQ(report.nodes.size(), 3U);
  for (const NodeReport& node : report.nodes) EXPECT_EQ(node.cells.size(), ReportClass::kCount);
  EXPECT_EQ(report.coverage.nodes, 3U);
  EXPECT_EQ(report.coverage.routes, 5U);
  EXPECT_EQ(report.model_code, 4);
  EXPECT_EQ(report.scale_mode, 2);
  EXPECT_THAT(gaps_of(report), ElementsAre("RP0//the PIDB of a route processor"));
}

TEST(Verdicts, findings_stand_in_the_order_of_nodes_and_classes) {
  std::vector<RunFacts> runs = {sound_run(), sound_multicast_run()};
  add_faulty_route(runs[1], "RP0");
  add_leaked(runs[0], "1");
  add_missing(runs[0], "2", InterfaceClass::kPhysical, {"2"});
  add_missing(runs[0], "1", kBundle, {"1"});
  add_missing(runs[0], "1", kBundle, {"2"});
  std::vector<std::string> ids;
  for (const Finding& finding : judge(std::move(runs), {}, std::nullopt).findings) {
    ids.push_back(finding.id);
  }
  EXPECT_THAT(ids, ElementsAre("missing-key/1/2", "missing-key/1/3", "leaked-key/1/0",
                               "missing-key/2/1", "missing-bud/RP0/0"));
}

TEST(Verdicts, node_on_which_nothing_is_ever_checked_is_no_pass) {
  RunFacts run = sound_multicast_run();
  run.nodes = {unit::sound_multicast_node("FC0", "FC")};
  run.nodes.front().routes_compared.reset();
  const Report report = report_of(std::move(run));
  EXPECT_EQ(report.nodes.front().verdict, Verdict::kByDesign);
  EXPECT_EQ(report.verdict, Verdict::kNotVerified);
}

TEST(Verdicts, unknown_interfaces_are_no_pass_for_another_node) {
  RunFacts run = sound_run();
  run.nodes[2].pidb = {kLost};
  const Report report = report_of(std::move(run), {{"1"}, {}});
  EXPECT_EQ(report.nodes.front().verdict, Verdict::kConsistent);
  EXPECT_EQ(report.verdict, Verdict::kNotVerified);
}

TEST(Verdicts, unknown_interfaces_cost_nothing_where_only_multicast_is_asked_for) {
  std::vector<RunFacts> runs = {sound_run(), sound_multicast_run()};
  runs[0].nodes[2].pidb = {kLost};
  const Report report = judge(std::move(runs), {{}, {"multicast"}}, std::nullopt);
  EXPECT_EQ(report.nodes.front().verdict, Verdict::kConsistent);
  EXPECT_EQ(report.verdict, Verdict::kNotVerified);  // node 2 has a problem
  std::vector<RunFacts> again = {sound_run(), sound_multicast_run()};
  again[0].nodes[2].pidb = {kLost};
  EXPECT_EQ(judge(std::move(again), {{"1"}, {"multicast"}}, std::nullopt).verdict,
            Verdict::kConsistent);
}

TEST(Verdicts, failed_run_that_was_ended_early_is_one_that_was_not_verified) {
  std::vector<RunFacts> runs = {sound_run()};
  runs[0].run_error = "interrupted";
  const Report report = judge(std::move(runs), {}, Reason::kInterrupted);
  EXPECT_EQ(report.verdict, Verdict::kNotVerified);
  ASSERT_EQ(report.run_errors.size(), 1U);
  EXPECT_EQ(report.run_errors.front().error, "interrupted");
}

}  // namespace
}  // namespace zorbec
