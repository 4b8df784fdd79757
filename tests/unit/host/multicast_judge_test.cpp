#include "host/verdict/multicast_judge.h"

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <string>

#include "tests/unit/host/sound_run.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using unit::add_faulty_route;
using unit::node_of;
using unit::sound_multicast_node;
using unit::sound_multicast_run;

const Problem kRoutesLost{Reason::kUnreachable, "routes", "status 255"};
const Problem kBudsLost{Reason::kCommandFailed, "bud objects", "status 1"};

struct MulticastCase : unit::Row {
  std::function<void(RunFacts&)> change;  // of the sound run
  std::string node;
  Verdict verdict;
  std::optional<Reason> reason = std::nullopt;
  std::string detail = {};
  std::size_t compared = 5;
};

const MulticastCase kMulticastCases[] = {
    {{"card_is_well"}, [](RunFacts&) {}, "1", Verdict::kConsistent},
    {{"processor_is_well"}, [](RunFacts&) {}, "RP0", Verdict::kConsistent},
    {{"route_is_wrong"},
     [](RunFacts& run) { add_faulty_route(run, "1"); },
     "1",
     Verdict::kInconsistent},
    {{"route_is_wrong_elsewhere"},
     [](RunFacts& run) { add_faulty_route(run, "2"); },
     "1",
     Verdict::kConsistent},
    {{"set_up_is_in_doubt"},
     [](RunFacts& run) {
       run.set_up = {{Reason::kEmpty, "set-up", "no banner"}};
       add_faulty_route(run, "1");
     },
     "1",
     Verdict::kNotVerified,
     Reason::kEmpty,
     "set-up: no banner"},
    {{"card_was_lost"},
     [](RunFacts& run) {
       node_of(run, "1").multicast = {kBudsLost};
       add_faulty_route(run, "1");
     },
     "1",
     Verdict::kNotVerified,
     Reason::kCommandFailed,
     "bud objects: status 1"},
    {{"other_card_was_lost"},
     [](RunFacts& run) { node_of(run, "2").multicast = {kBudsLost}; },
     "1",
     Verdict::kConsistent},
    {{"card_while_a_processor_was_lost"},
     [](RunFacts& run) {
       node_of(run, "RP0").multicast = {kRoutesLost};
       add_faulty_route(run, "1");
     },
     "1",
     Verdict::kNotVerified,
     Reason::kUnreachable,
     "routes: status 255"},
    {{"cards_own_doubt_comes_first"},
     [](RunFacts& run) {
       node_of(run, "RP0").multicast = {kRoutesLost};
       node_of(run, "1").multicast = {kBudsLost};
     },
     "1",
     Verdict::kNotVerified,
     Reason::kCommandFailed,
     "bud objects: status 1"},
    {{"processor_while_another_was_lost"},
     [](RunFacts& run) {
       run.nodes.push_back(sound_multicast_node("RP1", "RP"));
       node_of(run, "RP1").multicast = {kRoutesLost};
     },
     "RP0",
     Verdict::kConsistent},
    {{"node_of_another_type"},
     [](RunFacts& run) {
       run.nodes.push_back(sound_multicast_node("FC0", "FC"));
       node_of(run, "FC0").routes_compared.reset();
     },
     "FC0",
     Verdict::kByDesign,
     std::nullopt,
     "nodes of this type have no multicast state",
     0},
    {{"node_of_another_type_that_has_bud_objects"},
     [](RunFacts& run) {
       run.nodes.push_back(sound_multicast_node("FC0", "FC"));
       node_of(run, "FC0").buds = 0;
     },
     "FC0",
     Verdict::kConsistent},
    {{"standby_processor_without_routes"},
     [](RunFacts& run) {
       node_of(run, "RP0").role = "Standby";
       node_of(run, "RP0").routes = 0;
       node_of(run, "RP0").routes_compared.reset();
     },
     "RP0",
     Verdict::kByDesign,
     std::nullopt,
     "a standby route processor without routes of its own",
     0},
    {{"standby_processor_with_routes"},
     [](RunFacts& run) { node_of(run, "RP0").role = "Standby"; },
     "RP0",
     Verdict::kConsistent},
    {{"standby_processor_that_was_not_asked"},
     [](RunFacts& run) {
       node_of(run, "RP0").role = "Standby";
       node_of(run, "RP0").routes.reset();
       node_of(run, "RP0").routes_compared.reset();
     },
     "RP0",
     Verdict::kNotVerified,
     Reason::kWorkerEnded,
     "the check of this node ended before this part of it",
     0},
    {{"active_processor_without_routes"},
     [](RunFacts& run) {
       node_of(run, "RP0").routes = 0;
       node_of(run, "RP0").routes_compared = 0;
     },
     "RP0",
     Verdict::kNotVerified,
     Reason::kNothingToCompare,
     "no route processor has a multicast route",
     0},
    {{"comparison_never_came_to_the_node"},
     [](RunFacts& run) { node_of(run, "1").routes_compared.reset(); },
     "1",
     Verdict::kNotVerified,
     Reason::kWorkerEnded,
     "the check of this node ended before this part of it",
     0},
    // Whose fault it was is not known: a field of another node may have ended it.
    {{"comparison_ended_early"},
     [](RunFacts& run) {
       node_of(run, "1").routes_compared.reset();
       run.multicast_verification = {{Reason::kWrongShape, "verify_mcast", "no number"}};
     },
     "1",
     Verdict::kNotVerified,
     Reason::kWorkerEnded,
     "the comparison ended before it was done with this node: no number",
     0},
    {{"comparison_ended_after_this_node"},
     [](RunFacts& run) {
       run.multicast_verification = {{Reason::kWrongShape, "verify_mcast", "no number"}};
     },
     "1",
     Verdict::kConsistent},
    {{"some_routes_were_not_compared"},
     [](RunFacts& run) { node_of(run, "1").routes_uncompared = 2; },
     "1",
     Verdict::kNotVerified,
     Reason::kNothingToCompare,
     "2 routes were not compared: the hardware names another RIF",
     3},
    {{"route_is_wrong_among_others_that_were_not_compared"},
     [](RunFacts& run) {
       node_of(run, "1").routes_uncompared = 2;
       add_faulty_route(run, "1");
     },
     "1",
     Verdict::kInconsistent,
     std::nullopt,
     "",
     3},
};

class MulticastVerdict : public ::testing::TestWithParam<MulticastCase> {};

TEST_P(MulticastVerdict, on_a_node) {
  RunFacts run = sound_multicast_run();
  GetParam().change(run);
  const Cell cell = MulticastJudge(run).judge(node_of(run, GetParam().node));
  EXPECT_EQ(cell.report_class, ReportClass::kMulticast);
  EXPECT_EQ(verdict_text(cell.verdict), verdict_text(GetParam().verdict));
  EXPECT_EQ(cell.reason, GetParam().reason);
  EXPECT_EQ(cell.detail, GetParam().detail);
  EXPECT_EQ(cell.compared, GetParam().compared);
}

INSTANTIATE_TEST_SUITE_P(Nodes, MulticastVerdict, ::testing::ValuesIn(kMulticastCases),
                         unit::row_name<MulticastCase>);

TEST(MulticastJudge, counts_findings_by_whether_they_can_be_relied_on) {
  RunFacts run = sound_multicast_run();
  node_of(run, "2").multicast = {kBudsLost};
  add_faulty_route(run, "1");
  add_faulty_route(run, "1");
  add_faulty_route(run, "2");
  add_faulty_route(run, "9");
  const MulticastJudge judge(run);
  EXPECT_EQ(judge.judge(node_of(run, "1")).findings, 2U);
  EXPECT_EQ(judge.judge(node_of(run, "1")).unconfirmed, 0U);
  EXPECT_EQ(judge.judge(node_of(run, "2")).findings, 0U);
  EXPECT_EQ(judge.judge(node_of(run, "2")).unconfirmed, 1U);
  for (const auto& [id, finding] : run.findings) {
    EXPECT_EQ(finding.is_confirmed, finding.node == "1") << id;
  }
}

}  // namespace
}  // namespace zorbec
