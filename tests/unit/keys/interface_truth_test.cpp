#include "keys/interface_truth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "tables/interface_class.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/records.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

struct ClassTable {
  const char* name;
  InterfaceTables RunState::*table;
  const char* needed;  // a field that the class cannot do without
};

// In the order in which they are completed.
const ClassTable kClasses[] = {
    {"bundles", &RunState::pidb_bundle_ifh, "rif"},
    {"bundle_subifs", &RunState::pidb_bundle_subifh, "rif"},
    {"physical_ports", &RunState::pidb_physical_ifh, "rif"},
    {"physical_subifs", &RunState::pidb_physical_subifh, "rif"},
    {"bvis", &RunState::pidb_bvi_ifh, "rif"},
    {"gre_tunnels", &RunState::pidb_gre_ifh, "erif"},
};
static_assert(std::size(kClasses) == kEnumCount<InterfaceClass>, "each class is tested");

// Node 2 of a router of an unknown model.
class InterfaceTruth : public RunStateTest {
 protected:
  InterfaceTruth() {
    run_state().router = 1;
    tools.answer("confdump", "");
    run_state().dl_fd.set(std::make_shared<LogStream>("/tmp/last_log.txt"));
  }

  void load(InterfaceTables RunState::*table, const Fields& records) {
    (run_state().*table).set("2", interface_table(dump_of(records)));
  }
  Texts keys(InterfaceTables RunState::*table, const std::string& handle) {
    return keys_of(record_of(run_state().*table, "2", handle));
  }
  Texts subifs(const std::string& bundle) {
    return subifs_of(record_of(run_state().pidb_bundle_ifh, "2", bundle));
  }
  std::string failure() {
    return error_of<CheckError>([] { construct_pidb_truth_db("2"); });
  }
};

TEST_F(InterfaceTruth, each_class_is_completed_by_its_own_rule) {
  for (const ClassTable& each : kClasses) load(each.table, {{"1", record_with({})}});
  construct_pidb_truth_db("2");
  EXPECT_THAT(keys(&RunState::pidb_bundle_ifh, "1"), ElementsAre("0x1", "0x5"));
  EXPECT_THAT(keys(&RunState::pidb_bundle_subifh, "1"), ElementsAre("0x1", "0x5"));
  EXPECT_THAT(keys(&RunState::pidb_physical_ifh, "1"),
              ElementsAre("0x1", "0x5", "0x40020009", "0x30000"));
  EXPECT_THAT(keys(&RunState::pidb_physical_subifh, "1"), ElementsAre("0x1", "0x5", "0x40020009"));
  EXPECT_THAT(keys(&RunState::pidb_bvi_ifh, "1"), ElementsAre("0x1", "0x40020009", "0x5"));
  EXPECT_THAT(keys(&RunState::pidb_gre_ifh, "1"), ElementsAre("0x1", "0x10005", "0x20006"));
}

TEST_F(InterfaceTruth, node_without_any_dump_is_left_alone) {
  construct_pidb_truth_db("2");
  for (const ClassTable& each : kClasses) EXPECT_EQ((run_state().*each.table).find("2"), nullptr);
}

TEST_F(InterfaceTruth, node_without_bundles_goes_straight_to_the_physical_ports) {
  load(&RunState::pidb_physical_ifh, {{"1", record_with({})}});
  construct_pidb_truth_db("2");
  EXPECT_EQ(keys(&RunState::pidb_physical_ifh, "1").size(), 4U);
  EXPECT_EQ(run_state().pidb_bundle_ifh.find("2"), nullptr);
  EXPECT_EQ(run_state().pidb_bundle_subifh.find("2"), nullptr);
}

TEST_F(InterfaceTruth, other_nodes_are_left_alone) {
  for (const ClassTable& each : kClasses) {
    (run_state().*each.table).set("3", interface_table(dump_of({{"1", record_with({})}})));
  }
  construct_pidb_truth_db("2");
  for (const ClassTable& each : kClasses) {
    EXPECT_THAT(keys_of(record_of(run_state().*each.table, "3", "1")), ElementsAre("none"))
        << each.name;
  }
}

// Without one of the classes, the others are completed all the same; with a bad record in it, those
// behind it are not.
class EachClass : public InterfaceTruth, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(EachClass, not_loaded_for_the_node_is_left_out) {
  for (const ClassTable& each : kClasses) {
    if (&each != &kClasses[GetParam()]) load(each.table, {{"1", record_with({})}});
  }
  construct_pidb_truth_db("2");
  for (const ClassTable& each : kClasses) {
    if (&each != &kClasses[GetParam()]) {
      EXPECT_THAT(keys(each.table, "1").front(), "0x1") << each.name;
    }
  }
}

TEST_P(EachClass, failing_record_ends_it_and_later_classes_keep_no_key_list) {
  for (const ClassTable& each : kClasses) load(each.table, {{"1", record_with({})}});
  const ClassTable& failing = kClasses[GetParam()];
  load(failing.table, {{"1", record_with({})},
                       {"2", record_with({{failing.needed, kMissing}})},
                       {"3", record_with({})}});
  EXPECT_THAT(failure(), HasSubstr("\"2\" has no field"));
  for (std::size_t number = 0; number < std::size(kClasses); ++number) {
    EXPECT_THAT(keys(kClasses[number].table, "1").front(), number <= GetParam() ? "0x1" : "none")
        << kClasses[number].name;
  }
  EXPECT_THAT(keys(failing.table, "3"), ElementsAre("none"));
}

TEST_P(EachClass, dump_that_is_no_table_ends_it) {
  for (const ClassTable& each : kClasses) load(each.table, {{"1", record_with({})}});
  (run_state().*kClasses[GetParam()].table).set("2", interface_table("\"no interfaces\""));
  EXPECT_THAT(failure(), HasSubstr("holds a text, not a table"));
  for (std::size_t number = 0; number < std::size(kClasses); ++number) {
    if (number == GetParam()) continue;
    EXPECT_THAT(keys(kClasses[number].table, "1").front(), number < GetParam() ? "0x1" : "none")
        << kClasses[number].name;
  }
}

TEST_P(EachClass, handle_that_is_no_decimal_number_ends_it) {
  load(kClasses[GetParam()].table, {{"0x10", record_with({})}});
  EXPECT_THAT(failure(), HasSubstr("\"0x10\" has a handle that is not a decimal number"));
}

INSTANTIATE_TEST_SUITE_P(Classes, EachClass, ::testing::Range(std::size_t{0}, std::size(kClasses)),
                         [](const auto& row) { return kClasses[row.param].name; });

TEST_F(InterfaceTruth, members_keys_accumulate_on_top_of_the_bundles_own) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({{"rif", "70"}})}});
  load(&RunState::pidb_bundle_subifh, {{"21", record_with({{"rif", "210"}, {"parent_ifh", "7"}})}});
  load(&RunState::pidb_physical_ifh, {{"1", record_with({{"is_member", "1"}})},
                                      {"2", record_with({{"is_member", "1"}, {"memid", "4"}})}});
  construct_pidb_truth_db("2");
  EXPECT_THAT(keys(&RunState::pidb_bundle_ifh, "7"),
              ElementsAre("0x7", "0x46",                                 //
                          "0x5", "0x40020009", "0x30000", "0x83050000",  //
                          "0x5", "0x40020009", "0x30000", "0x84050000"));
  EXPECT_THAT(keys(&RunState::pidb_bundle_subifh, "21"),
              ElementsAre("0x15", "0xd2", "0xd2", "0xd2"));
  EXPECT_THAT(keys(&RunState::pidb_physical_ifh, "1"), ElementsAre("none"));
}

// ---- Linking sub-interfaces to their bundles

TEST_F(InterfaceTruth, two_sub_interfaces_of_one_bundle_stand_in_its_subiflist_in_visiting_order) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({})}, {"8", record_with({})}});
  run_state().pidb_bundle_subifh.set(
      "2", interface_table("{\"22\": " + record_with({{"parent_ifh", "7"}}) +
                           ", \"21\": " + record_with({{"parent_ifh", "7"}}) + "}"));
  construct_pidb_truth_db("2");
  EXPECT_THAT(subifs("7"), ElementsAre("22", "21"));
  EXPECT_THAT(subifs("8"), ElementsAre("none"));
}

TEST_F(InterfaceTruth, sub_interface_is_appended_to_the_subiflist_of_the_dump) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({{"subiflist", "[\"20\"]"}})}});
  load(&RunState::pidb_bundle_subifh, {{"21", record_with({{"parent_ifh", "7"}})}});
  construct_pidb_truth_db("2");
  EXPECT_THAT(subifs("7"), ElementsAre("20", "21"));
}

TEST_F(InterfaceTruth, another_call_lists_sub_interfaces_and_members_keys_twice) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({})}});
  load(&RunState::pidb_bundle_subifh, {{"21", record_with({{"parent_ifh", "7"}})}});
  load(&RunState::pidb_physical_ifh, {{"1", record_with({{"is_member", "1"}})}});
  construct_pidb_truth_db("2");
  EXPECT_EQ(keys(&RunState::pidb_bundle_subifh, "21").size(), 3U);
  construct_pidb_truth_db("2");
  EXPECT_THAT(subifs("7"), ElementsAre("21", "21"));
  EXPECT_EQ(keys(&RunState::pidb_bundle_subifh, "21").size(), 4U);
}

struct ParentCase : Row {
  const char* parent_ifh;
  const char* complaint;       // null if it fails for none
  Texts subiflist = {"none"};  // of bundle 7
};

const ParentCase kParentCases[] = {
    {{"integer"}, "7", nullptr, {"21"}},
    {{"text"}, "\"7\"", nullptr, {"21"}},
    {{"zero_is_listed_in_no_bundle"}, "0", nullptr},
    {{"minus_zero"}, "-0", nullptr},
    {{"real_zero"}, "0.0", nullptr},
    {{"false_value"}, "false", nullptr},
    {{"text_zero_is_looked_up"}, "\"0\"", "refers to \"0\""},
    {{"text_is_looked_up_as_it_stands"}, "\"07\"", "refers to \"07\""},
    {{"empty_text"}, "\"\"", "refers to \"\""},
    {{"bundle_that_is_missing"}, "8", "refers to \"8\", which node 2 does not report"},
    {{"true_value"}, "true", "parent_ifh true, not a handle"},
    {{"real"}, "7.0", "parent_ifh"},
    {{"null"}, "null", "parent_ifh null, not a handle"},
    {{"list"}, "[7]", "parent_ifh a list, not a handle"},
    {{"missing"}, kMissing, "no field \"parent_ifh\""},
};

class ParentOfBundleSubif : public InterfaceTruth,
                            public ::testing::WithParamInterface<ParentCase> {};

TEST_P(ParentOfBundleSubif, decides_where_it_is_listed) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({})}});
  load(&RunState::pidb_bundle_subifh, {{"20", record_with({})},
                                       {"21", record_with({{"parent_ifh", GetParam().parent_ifh}})},
                                       {"22", record_with({})}});
  load(&RunState::pidb_physical_ifh, {{"1", record_with({})}});
  const bool fails = GetParam().complaint != nullptr;
  if (fails) {
    EXPECT_THAT(failure(), HasSubstr(GetParam().complaint));
  } else {
    construct_pidb_truth_db("2");
  }
  EXPECT_EQ(subifs("7"), GetParam().subiflist);
  EXPECT_THAT(keys(&RunState::pidb_bundle_ifh, "7"), ElementsAre("0x7", "0x5"));
  EXPECT_THAT(keys(&RunState::pidb_bundle_subifh, "20"), ElementsAre("0x14", "0x5"));
  const Texts none = {"none"};
  EXPECT_EQ(keys(&RunState::pidb_bundle_subifh, "21"), fails ? none : Texts({"0x15", "0x5"}));
  EXPECT_EQ(keys(&RunState::pidb_bundle_subifh, "22"), fails ? none : Texts({"0x16", "0x5"}));
  EXPECT_EQ(keys(&RunState::pidb_physical_ifh, "1") == none, fails);
}

INSTANTIATE_TEST_SUITE_P(Parents, ParentOfBundleSubif, ::testing::ValuesIn(kParentCases),
                         row_name<ParentCase>);

TEST_F(InterfaceTruth, bundle_named_0_is_the_parent_of_whoever_names_it_as_text) {
  load(&RunState::pidb_bundle_ifh, {{"0", record_with({})}});
  load(&RunState::pidb_bundle_subifh, {{"21", record_with({{"parent_ifh", "0"}})},
                                       {"22", record_with({{"parent_ifh", "\"0\""}})}});
  construct_pidb_truth_db("2");
  EXPECT_THAT(subifs("0"), ElementsAre("22"));
}

TEST_F(InterfaceTruth, sub_interface_is_listed_before_its_keys_are_derived) {
  load(&RunState::pidb_bundle_ifh, {{"7", record_with({})}});
  load(&RunState::pidb_bundle_subifh,
       {{"21", record_with({{"parent_ifh", "7"}, {"rif", kMissing}})}});
  EXPECT_THAT(failure(), HasSubstr("no field \"rif\""));
  EXPECT_THAT(subifs("7"), ElementsAre("21"));
}

TEST_F(InterfaceTruth, sub_interface_with_a_parent_but_no_bundles_loaded) {
  load(&RunState::pidb_bundle_subifh, {{"21", record_with({{"parent_ifh", "7"}})}});
  EXPECT_THAT(failure(), HasSubstr(R"("21" refers to "7", which node 2 does not report)"));
}

TEST_F(InterfaceTruth, writes_nothing_and_runs_no_command_without_bundle_members) {
  for (const ClassTable& each : kClasses) load(each.table, {{"1", record_with({})}});
  const RecordedCommands commands;
  const CapturedStream standard_output(STDOUT_FILENO);
  construct_pidb_truth_db("2");
  run_state().dl_fd.get()->flush();
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(read_text("/tmp/last_log.txt"), "");
  EXPECT_THAT(commands.lines(), IsEmpty());
}

}  // namespace
}  // namespace zorbec::unit
