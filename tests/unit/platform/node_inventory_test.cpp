#include "platform/node_inventory.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "context/run_state.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using unit::error_of;

std::string shown(const std::optional<int>& field) {
  return field ? std::to_string(*field) : "-";
}
std::string shown(const std::optional<std::string>& field) {
  return field ? "'" + *field + "'" : "-";
}

// "nodeid pidb_dump pmdb_dump nodetype nodeip act_standby is_active", "-" for what is missing.
std::string shown(const NodeRecord& record) {
  return shown(record.nodeid) + " " + shown(record.pidb_dump) + " " + shown(record.pmdb_dump) +
         " " + shown(record.nodetype) + " " + shown(record.nodeip) + " " +
         shown(record.act_standby) + " " + shown(record.is_active);
}

class Inventory : public unit::RunStateTest {
 protected:
  // Lists the nodes of a router of that model.
  void take(int router, std::string_view node_table) {
    run_state().router = router;
    tools.answer("nodemap_query", node_table);
    nodeinfo_init();
    get_list_of_vms();
  }
  static std::string node(const std::string& name) {
    const NodeRecordPtr* const record = run_state().nodeinfo.find(name);
    return record == nullptr ? "none" : shown(**record);
  }
  // How many nodes there are, active, standby and all.
  static std::vector<int> counts() {
    const RunState& state = run_state();
    return {state.activenode_cnt, state.standbynode_cnt, state.vmcnt};
  }
};

const std::string kUntouched = " 0 0 'None' 'None' 'None' -";

// ---------------------------------------------------------------------------------------------

struct SkeletonCase : unit::Row {
  int router;
  std::string first;
  std::string second;
  int slots;
};

class Skeleton : public Inventory, public ::testing::WithParamInterface<SkeletonCase> {};

TEST_P(Skeleton, holds_processors_and_slots_in_order) {
  run_state().router = GetParam().router;
  nodeinfo_init();
  std::vector<std::string> expected = {GetParam().first + " 4352" + kUntouched,
                                       GetParam().second + " 4096" + kUntouched};
  for (int slot = 0; slot < GetParam().slots; ++slot) {
    expected.push_back(std::to_string(slot) + " " + std::to_string(slot) + kUntouched);
  }
  std::vector<std::string> nodes;
  for (const auto& [name, record] : run_state().nodeinfo) {
    nodes.push_back(name + " " + shown(*record));
  }
  EXPECT_EQ(nodes, expected);
}

INSTANTIATE_TEST_SUITE_P(Router, Skeleton,
                         ::testing::Values(SkeletonCase{"code_8", 8, "D0", "D1", 47},
                                           SkeletonCase{"code_1", 1, "RP0", "RP1", 16},
                                           SkeletonCase{"code_2", 2, "RP0", "RP1", 16},
                                           SkeletonCase{"code_5", 5, "RP0", "RP1", 16},
                                           SkeletonCase{"code_9", 9, "RP0", "RP1", 16}),
                         unit::row_name<SkeletonCase>);

TEST_F(Inventory, skeleton_replaces_records_and_leaves_those_in_use_alone) {
  take(1, "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1\n");
  nodeinfo_init();
  EXPECT_EQ(node("RP0"), "4352" + kUntouched);
  EXPECT_EQ(run_state().nodeinfo.size(), 18U);
  EXPECT_EQ(run_state().activenodeinfo->nodeip, "192.0.0.1");
}

// ---------------------------------------------------------------------------------------------

struct LineCase : unit::Row {
  int router;
  std::string line;
  std::string node;
  std::string record;
  std::vector<int> counts;
};

class NodeTableLine : public Inventory, public ::testing::WithParamInterface<LineCase> {};

TEST_P(NodeTableLine, gives) {
  take(GetParam().router, GetParam().line + "\n");
  EXPECT_EQ(node(GetParam().node), GetParam().record);
  EXPECT_EQ(counts(), GetParam().counts);
}

INSTANTIATE_TEST_SUITE_P(
    Line, NodeTableLine,
    ::testing::Values(
        LineCase{"active_line_card",
                 1,
                 "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"active_route_processor",
                 1,
                 "0/RP0/CPU0 RP (ACTIVE) 0/RP1/CPU0 IMAGE READY 192.0.0.1",
                 "RP0",
                 "4352 0 1 'RP' '192.0.0.1' 'Active' -",
                 {1, 0, 1}},
        LineCase{"standby_route_processor",
                 1,
                 "0/RP1/CPU0 RP (STANDBY) 0/RP0/CPU0 IMAGE READY 192.0.0.2",
                 "RP1",
                 "4096 0 1 'RP' '192.0.0.2' 'Standby' -",
                 {0, 1, 1}},
        LineCase{"standby_line_card",
                 1,
                 "0/2/CPU0 LC (STANDBY) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2 0 1 'LC' '192.0.0.4' 'Standby' -",
                 {0, 1, 1}},
        LineCase{"both_words_standby_wins",
                 1,
                 "0/2/CPU0 LC (ACTIVE) STANDBY IMAGE READY 192.0.0.4",
                 "2",
                 "2 0 1 'LC' '192.0.0.4' 'Standby' -",
                 {1, 1, 2}},
        LineCase{"inactive_holds_active",
                 1,
                 "0/2/CPU0 LC (INACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"neither_word",
                 1,
                 "0/2/CPU0 LC (UNKNOWN) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2" + kUntouched,
                 {0, 0, 0}},
        LineCase{"type_of_any_text",
                 1,
                 "0/2/CPU0 FC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2 1 1 'FC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"address_of_any_text",
                 1,
                 "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY (x)",
                 "2",
                 "2 1 1 'LC' '(x)' 'Active' -",
                 {1, 0, 1}},
        LineCase{"address_empty_behind_a_last_blank",
                 1,
                 "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY ",
                 "2",
                 "2 1 1 'LC' '' 'Active' -",
                 {1, 0, 1}},
        LineCase{"runs_of_blanks_and_tabs",
                 1,
                 "0/2/CPU0 \t LC   (ACTIVE)  NONE  IMAGE  READY\t192.0.0.4",
                 "2",
                 "2 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"more_fields_than_needed",
                 1,
                 "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4 and more",
                 "2",
                 "2 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"name_without_a_third_part",
                 1,
                 "0/2 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"heading_is_passed_over", 1, "Node Type State", "2", "2" + kUntouched, {0, 0, 0}},
        LineCase{"blank_line_is_passed_over", 1, "", "2", "2" + kUntouched, {0, 0, 0}},
        LineCase{"model_8_active_processor",
                 8,
                 "0/D0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1",
                 "D0",
                 "4352 0 1 'RP' '192.0.0.1' 'Active' -",
                 {1, 0, 1}},
        LineCase{"model_8_last_slot",
                 8,
                 "0/46/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "46",
                 "46 1 1 'LC' '192.0.0.4' 'Active' -",
                 {1, 0, 1}},
        LineCase{"model_2_active_processor_is_dumped",
                 2,
                 "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1",
                 "RP0",
                 "4352 1 1 'RP' '192.0.0.1' 'Active' -",
                 {1, 0, 1}},
        LineCase{"model_2_standby_processor_is_dumped",
                 2,
                 "0/RP1/CPU0 RP (STANDBY) NONE IMAGE READY 192.0.0.2",
                 "RP1",
                 "4096 1 1 'RP' '192.0.0.2' 'Standby' -",
                 {0, 1, 1}},
        LineCase{"model_2_whatever_the_line_holds",
                 2,
                 "0/2/CPU0",
                 "2",
                 "2 1 0 'None' 'None' 'None' -",
                 {0, 0, 0}}),
    unit::row_name<LineCase>);

class BadNodeTableLine : public Inventory, public ::testing::WithParamInterface<LineCase> {};

// The line comes behind a good one, whose effect stays.
TEST_P(BadNodeTableLine, fails_and_keeps_what_came_before) {
  const std::string good = "0/1/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.2\n";
  EXPECT_THAT(error_of<CheckError>([&] { take(GetParam().router, good + GetParam().line + "\n"); }),
              HasSubstr("/pkg/bin/nodemap_query -v: line \"" + GetParam().line + "\" "));
  EXPECT_EQ(node("1"), "1 1 1 'LC' '192.0.0.2' 'Active' -");
  EXPECT_EQ(node(GetParam().node), GetParam().record);
  EXPECT_EQ(counts(), GetParam().counts);
}

INSTANTIATE_TEST_SUITE_P(
    Line, BadNodeTableLine,
    ::testing::Values(
        LineCase{"slot_that_the_model_does_not_have",
                 1,
                 "0/16/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "16",
                 "none",
                 {1, 0, 1}},
        LineCase{"processor_of_another_model",
                 1,
                 "0/D0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1",
                 "D0",
                 "none",
                 {1, 0, 1}},
        LineCase{"processor_of_another_model_on_8",
                 8,
                 "0/RP0/CPU0 RP (STANDBY) NONE IMAGE READY 192.0.0.1",
                 "RP0",
                 "none",
                 {1, 0, 1}},
        LineCase{"slot_47_on_8",
                 8,
                 "0/47/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "47",
                 "none",
                 {1, 0, 1}},
        LineCase{"leading_blank_leaves_no_name",
                 1,
                 " 0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2" + kUntouched,
                 {1, 0, 1}},
        LineCase{"no_slash",
                 1,
                 "node2 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2" + kUntouched,
                 {1, 0, 1}},
        LineCase{"empty_name",
                 1,
                 "0//CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4",
                 "2",
                 "2" + kUntouched,
                 {1, 0, 1}},
        LineCase{"active_with_six_fields",
                 1,
                 "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY",
                 "2",
                 "2 1 1 'LC' 'None' 'None' -",
                 {1, 0, 1}},
        LineCase{"standby_with_six_fields",
                 1,
                 "0/2/CPU0 LC (STANDBY) NONE IMAGE READY",
                 "2",
                 "2 0 1 'LC' 'None' 'None' -",
                 {1, 0, 1}},
        LineCase{"one_field", 1, "0/2/ACTIVE", "2", "2" + kUntouched, {1, 0, 1}},
        LineCase{"model_2_blank_line", 2, "", "2", "2" + kUntouched, {1, 0, 1}},
        LineCase{"model_2_heading", 2, "Node Type State", "2", "2" + kUntouched, {1, 0, 1}},
        LineCase{"model_2_unknown_node_in_a_line_of_no_state",
                 2,
                 "0/16/CPU0 LC",
                 "16",
                 "none",
                 {1, 0, 1}}),
    unit::row_name<LineCase>);

// ---------------------------------------------------------------------------------------------

TEST_F(Inventory, active_and_standby_refer_to_the_records_of_the_table) {
  take(1,
       "0/RP0/CPU0 RP (ACTIVE) 0/RP1/CPU0 IMAGE READY 192.0.0.1\n"
       "0/RP1/CPU0 RP (STANDBY) 0/RP0/CPU0 IMAGE READY 192.0.0.2\n"
       "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4\n");
  RunState& state = run_state();
  EXPECT_EQ(state.activenodeinfo, *state.nodeinfo.find("RP0"));
  EXPECT_EQ(state.standbynodeinfo, *state.nodeinfo.find("RP1"));
  state.activenodeinfo->nodeip = "changed";
  EXPECT_EQ(node("RP0"), "4352 0 1 'RP' 'changed' 'Active' -");
}

TEST_F(Inventory, line_cards_are_neither_the_active_nor_the_standby_processor) {
  take(1,
       "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4\n"
       "0/3/CPU0 LC (STANDBY) NONE IMAGE READY 192.0.0.6\n");
  EXPECT_EQ(run_state().activenodeinfo, nullptr);
  EXPECT_EQ(run_state().standbynodeinfo, nullptr);
}

TEST_F(Inventory, processor_that_is_active_and_standby_at_once_is_both) {
  take(1, "0/RP0/CPU0 RP (ACTIVE) STANDBY IMAGE READY 192.0.0.1\n");
  EXPECT_EQ(run_state().activenodeinfo, *run_state().nodeinfo.find("RP0"));
  EXPECT_EQ(run_state().standbynodeinfo, run_state().activenodeinfo);
  EXPECT_EQ(run_state().activenodeinfo->act_standby, "Standby");
}

TEST_F(Inventory, nodename_is_that_of_the_line_last_handled) {
  EXPECT_FALSE(run_state().nodename.has_value());
  take(1,
       "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1\n"
       "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4\n"
       "0/3/CPU0 LC (UNKNOWN) NONE IMAGE READY 192.0.0.6\n");
  EXPECT_EQ(run_state().nodename, "2");
}

TEST_F(Inventory, empty_output_leaves_the_skeleton_as_it_is) {
  take(1, "");
  EXPECT_EQ(run_state().nodeinfo.size(), 18U);
  EXPECT_EQ(node("RP0"), "4352" + kUntouched);
  EXPECT_THAT(counts(), ElementsAre(0, 0, 0));
}

TEST_F(Inventory, empty_output_on_model_2_leaves_the_skeleton_as_it_is) {
  take(2, "");
  EXPECT_EQ(node("RP0"), "4352" + kUntouched);
}

TEST_F(Inventory, running_it_twice_doubles_the_counts) {
  const char* const node_table =
      "0/RP0/CPU0 RP (ACTIVE) NONE IMAGE READY 192.0.0.1\n"
      "0/RP1/CPU0 RP (STANDBY) NONE IMAGE READY 192.0.0.2\n"
      "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4\n";
  take(1, node_table);
  EXPECT_THAT(counts(), ElementsAre(2, 1, 3));
  take(1, node_table);
  EXPECT_THAT(counts(), ElementsAre(4, 2, 6));
  EXPECT_EQ(run_state().nodeinfo.size(), 18U);
}

TEST_F(Inventory, node_table_is_asked_with_v) {
  const unit::RecordedCommands commands;
  take(1, "");
  EXPECT_THAT(commands.lines(), ElementsAre("/pkg/bin/nodemap_query -v"));
}

// ---------------------------------------------------------------------------------------------

struct SingleProcessorCase : unit::Row {
  int router;
};

class SingleProcessor : public Inventory,
                        public ::testing::WithParamInterface<SingleProcessorCase> {};

TEST_P(SingleProcessor, is_one_fixed_record_whatever_the_platform_reports) {
  const unit::RecordedCommands commands;
  take(GetParam().router, "0/2/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.4\n");
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_EQ(run_state().nodeinfo.size(), 1U);
  EXPECT_EQ(node("RP0"), "0 1 1 - '127.0.0.1' - 1");
  EXPECT_THAT(counts(), ElementsAre(0, 0, 0));
  EXPECT_EQ(run_state().activenodeinfo, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Router, SingleProcessor,
                         ::testing::Values(SingleProcessorCase{"code_5", 5},
                                           SingleProcessorCase{"code_7", 7},
                                           SingleProcessorCase{"code_9", 9}),
                         unit::row_name<SingleProcessorCase>);

}  // namespace
}  // namespace zorbec
