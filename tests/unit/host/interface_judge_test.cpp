#include "host/verdict/interface_judge.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/unit/host/sound_run.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using unit::add_leaked;
using unit::add_missing;
using unit::node_of;
using unit::sound_run;

// A check that each test changes before it is judged.
class InterfaceJudgeTest : public ::testing::Test {
 protected:
  NodeFacts& node(const std::string& name) { return node_of(run, name); }
  ClassFacts& class_facts(const std::string& name, InterfaceClass intf_class) {
    return node(name).classes[intf_class];
  }
  const InterfaceJudge& judge() {
    if (!judge_) judge_.emplace(run);
    return *judge_;
  }
  Cell cell(const std::string& name, InterfaceClass intf_class = InterfaceClass::kBundle) {
    return judge().judge_class(node(name), intf_class);
  }
  Cell leaks(const std::string& name) { return judge().judge_leaks(node(name)); }
  std::vector<bool> confirmed() {
    judge();
    std::vector<bool> all;
    for (const auto& [id, finding] : run.findings) all.push_back(finding.is_confirmed);
    return all;
  }

  static void expect_not_verified(const Cell& cell, Reason reason, const std::string& detail) {
    EXPECT_EQ(verdict_text(cell.verdict), "NOT VERIFIED");
    EXPECT_EQ(cell.reason, reason);
    EXPECT_EQ(cell.detail, detail);
  }
  static void expect_verdict(const Cell& cell, Verdict verdict) {
    EXPECT_EQ(verdict_text(cell.verdict), verdict_text(verdict)) << cell.detail;
    EXPECT_EQ(cell.reason, std::nullopt);
  }

  RunFacts run = sound_run();
  const Problem lost{Reason::kUnreachable, "PIDB dump", "status 255"};

 private:
  std::optional<InterfaceJudge> judge_;
};

// Counts of a cell.

TEST_F(InterfaceJudgeTest, cell_counts_what_was_compared) {
  class_facts("1", InterfaceClass::kBundle).expected = 17;
  node("1").leaks->programmed = 40;
  EXPECT_EQ(cell("1").report_class, InterfaceClass::kBundle);
  EXPECT_EQ(cell("1").compared, 17U);
  EXPECT_EQ(leaks("1").report_class, ReportClass::kLeak);
  EXPECT_EQ(leaks("1").compared, 40U);
}

TEST_F(InterfaceJudgeTest, cell_counts_confirmed_and_unconfirmed_findings_apart) {
  node("2").pidb = {lost};
  add_missing(run, "1", InterfaceClass::kBundle, {"1"});
  add_missing(run, "1", InterfaceClass::kBundle, {"1", "2"});
  add_missing(run, "1", InterfaceClass::kBundle, {"2"});
  EXPECT_EQ(cell("1").findings, 2U);
  EXPECT_EQ(cell("1").unconfirmed, 1U);
  EXPECT_THAT(confirmed(), ElementsAre(true, true, false));
  expect_verdict(cell("1"), Verdict::kInconsistent);
}

TEST_F(InterfaceJudgeTest, findings_count_for_their_own_cell_alone) {
  add_missing(run, "1", InterfaceClass::kBundle, {"1"});
  add_leaked(run, "2");
  EXPECT_EQ(cell("1", InterfaceClass::kBundleSubif).findings, 0U);
  EXPECT_EQ(cell("2").findings, 0U);
  EXPECT_EQ(leaks("1").findings, 0U);
  EXPECT_EQ(leaks("2").findings, 1U);
  expect_verdict(cell("2"), Verdict::kConsistent);
  expect_verdict(leaks("2"), Verdict::kInconsistent);
}

// What a finding stands on.

TEST_F(InterfaceJudgeTest, finding_of_a_node_that_nobody_knows_is_unconfirmed) {
  add_missing(run, "9", InterfaceClass::kBundle, {"1"});
  EXPECT_THAT(confirmed(), ElementsAre(false));
}

TEST_F(InterfaceJudgeTest, finding_in_unread_keys_is_unconfirmed) {
  node("1").pmdb = {{Reason::kStale, "pmdb", "old"}};
  add_missing(run, "1", InterfaceClass::kBundle, {"1"});
  add_leaked(run, "1");
  EXPECT_THAT(confirmed(), ElementsAre(false, false));
  expect_not_verified(cell("1"), Reason::kStale, "pmdb: old");
  expect_not_verified(leaks("1"), Reason::kStale, "pmdb: old");
  EXPECT_EQ(cell("1").unconfirmed, 1U);
}

TEST_F(InterfaceJudgeTest, finding_of_one_class_does_not_rest_on_another) {
  class_facts("1", InterfaceClass::kBvi).problems = {lost};
  add_missing(run, "1", InterfaceClass::kBundle, {"1"});
  EXPECT_THAT(confirmed(), ElementsAre(true));
}

TEST_F(InterfaceJudgeTest, unconfirmed_finding_has_the_reason_of_its_owner) {
  node("2").pidb = {lost};
  add_missing(run, "1", InterfaceClass::kBundle, {"2"});
  expect_not_verified(cell("1"), Reason::kUnreachable, "PIDB dump: status 255");
}

TEST_F(InterfaceJudgeTest, owner_that_nobody_knows_confirms_nothing) {
  add_missing(run, "1", InterfaceClass::kBundle, {"9"});
  expect_not_verified(cell("1"), Reason::kWorkerEnded,
                      "the check of this node ended before this part of it");
}

TEST_F(InterfaceJudgeTest, leak_is_unconfirmed_while_the_interface_manager_was_not_asked) {
  node("1").leak_questions = {{Reason::kCommandFailed, "leak check", "status 127"}};
  add_leaked(run, "1");
  add_leaked(run, "2");
  EXPECT_THAT(confirmed(), ElementsAre(false, true));
  expect_not_verified(leaks("1"), Reason::kCommandFailed, "leak check: status 127");
}

TEST_F(InterfaceJudgeTest, leak_is_unconfirmed_while_interfaces_are_not_known) {
  class_facts("2", InterfaceClass::kBvi).problems = {lost};
  add_leaked(run, "1");
  EXPECT_THAT(confirmed(), ElementsAre(false));
  expect_not_verified(
      leaks("1"), Reason::kUnreachable,
      "some interfaces are not known; a key that seems to leak may belong to one of them");
}

// Work that ended early.

TEST_F(InterfaceJudgeTest, comparison_that_nobody_came_to) {
  class_facts("1", InterfaceClass::kBundle).expected.reset();
  expect_not_verified(cell("1"), Reason::kWorkerEnded,
                      "the check of this node ended before this part of it");
  EXPECT_EQ(cell("1").compared, 0U);
}

TEST_F(InterfaceJudgeTest, comparison_that_ended_early_says_what_ended_it) {
  class_facts("1", InterfaceClass::kBundle).expected.reset();
  node("1").leaks.reset();
  node("1").verification = {{Reason::kDeadline, "comparison of bundle", "interrupted"},
                            {Reason::kWrongShape, "leak check", "later"}};
  expect_not_verified(cell("1"), Reason::kDeadline, "comparison of bundle: interrupted");
  expect_not_verified(leaks("1"), Reason::kDeadline, "comparison of bundle: interrupted");
  EXPECT_EQ(leaks("1").compared, 0U);
  // What was done before stands.
  expect_verdict(cell("1", InterfaceClass::kPhysical), Verdict::kConsistent);
}

TEST_F(InterfaceJudgeTest, finding_of_a_comparison_that_ended_early_stands) {
  class_facts("1", InterfaceClass::kBundle).expected.reset();
  add_missing(run, "1", InterfaceClass::kBundle, {"1"});
  expect_verdict(cell("1"), Verdict::kInconsistent);
}

TEST_F(InterfaceJudgeTest, leak_check_that_nobody_came_to) {
  node("1").leaks.reset();
  expect_not_verified(leaks("1"), Reason::kWorkerEnded,
                      "the check of this node ended before this part of it");
}

TEST_F(InterfaceJudgeTest, keys_that_the_dump_marks_itself_are_told) {
  node("1").leaks->marked_in_dump = 4;
  expect_not_verified(leaks("1"), Reason::kWrongShape,
                      "pmdb: 4 keys are already marked as claimed in the dump");
}

// What there is none of.

TEST_F(InterfaceJudgeTest, class_that_nobody_has_is_none) {
  class_facts("1", InterfaceClass::kBundle).expected = 0;
  expect_verdict(cell("1"), Verdict::kNothing);
}

TEST_F(InterfaceJudgeTest, tunnels_that_are_not_configured_are_not_checked) {
  for (NodeFacts& each : run.nodes) {
    if (each.dumps_pidb) each.has_tunnels = false;
    each.classes[InterfaceClass::kGre].expected = 0;
  }
  for (const char* const name : {"RP0", "1"}) {
    expect_verdict(cell(name, InterfaceClass::kGre), Verdict::kByDesign);
    EXPECT_EQ(cell(name, InterfaceClass::kGre).detail,
              "the running configuration holds no GRE tunnels");
  }
}

// A card that reports nothing.

TEST_F(InterfaceJudgeTest, card_without_a_single_interface_is_not_believed) {
  for (ClassFacts& of_class : node("1").classes) of_class.interfaces = 0;
  expect_not_verified(cell("1"), Reason::kNothingToCompare,
                      "PIDB: the node reports no interface at all");
}

TEST_F(InterfaceJudgeTest, one_interface_of_any_class_is_enough) {
  for (ClassFacts& of_class : node("1").classes) of_class.interfaces = 0;
  class_facts("1", InterfaceClass::kBvi).interfaces = 1;
  expect_verdict(cell("1"), Verdict::kConsistent);
}

TEST_F(InterfaceJudgeTest, processor_may_have_no_interface) {
  node("RP0").dumps_pidb = true;
  node("RP0").has_tunnels = true;
  for (ClassFacts& of_class : node("RP0").classes) of_class.interfaces = 0;
  expect_verdict(cell("RP0"), Verdict::kConsistent);
}

TEST_F(InterfaceJudgeTest, card_that_is_not_there_is_not_accused) {
  node("1").has_worker = false;
  node("1").pidb = {{Reason::kUnreachable, "node table", "the node has no address"}};
  for (ClassFacts& of_class : node("1").classes) of_class.interfaces = 0;
  EXPECT_EQ(cell("1").reason, Reason::kUnreachable);
  EXPECT_EQ(node("1").pidb.size(), 1U);
}

TEST_F(InterfaceJudgeTest, card_of_which_nothing_was_read_is_not_accused) {
  for (ClassFacts& of_class : node("1").classes) {
    of_class.interfaces.reset();
    of_class.problems = {lost};
  }
  expect_not_verified(cell("1"), Reason::kUnreachable, "PIDB dump: status 255");
  EXPECT_TRUE(node("1").pidb.empty());
}

// What no node was checked for.

TEST_F(InterfaceJudgeTest, nothing_is_unknown_when_all_was_read) {
  EXPECT_FALSE(judge().unknown_interfaces().has_value());
}

TEST_F(InterfaceJudgeTest, unknown_interfaces_are_a_gap_everywhere) {
  node("2").pidb = {{Reason::kStale, "PIDB dump", "old"}};
  class_facts("1", InterfaceClass::kGre).problems = {lost};
  const std::optional<NotLookedAt> unknown = judge().unknown_interfaces();
  ASSERT_TRUE(unknown.has_value());
  EXPECT_EQ(unknown->node, "");
  EXPECT_EQ(unknown->report_class, std::nullopt);
  EXPECT_FALSE(unknown->is_by_design);
  EXPECT_EQ(unknown->reason, Reason::kUnreachable);
  EXPECT_EQ(unknown->detail,
            "some interfaces of nodes 1, 2 are not known; their keys were checked on no node");
}

}  // namespace
}  // namespace zorbec
