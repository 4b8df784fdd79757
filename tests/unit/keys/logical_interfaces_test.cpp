#include "keys/logical_interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/records.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Marks = std::vector<std::optional<int>>;

const std::string kLastLog = "/tmp/last_log.txt";

// Line cards and the bundles that they report.
class LogicalInterfaces : public RunStateTest {
 protected:
  LogicalInterfaces() { run_state().dl_fd.set(std::make_shared<LogStream>(kLastLog)); }

  void add_node(const std::string& node, std::optional<int> pidb_dump = 1) {
    const auto record = std::make_shared<NodeRecord>();
    record->pidb_dump = pidb_dump;
    nodeinfo.set(node, record);
  }
  static void load(const std::string& node, const std::string& bundles) {
    run_state().pidb_bundle_ifh.set(node, interface_table(bundles));
  }
  // A node that reports bundle 7.
  void add_report(const std::string& node, const std::string& bundle) {
    add_node(node);
    load(node, "{\"7\": " + bundle + "}");
  }

  static InterfaceRecord bundle(const std::string& node) {
    return record_of(run_state().pidb_bundle_ifh, node, "7");
  }
  // How bundle 7 is marked on each node, in node-table order.
  Marks marks() const {
    Marks found;
    for (const auto& [node, record] : nodeinfo) {
      found.push_back(bundle(node).additions().inconsistent);
    }
    return found;
  }
  static std::string log_text() {
    run_state().dl_fd.get()->flush();
    return read_text(kLastLog);
  }
  std::string failure() {
    return error_of<CheckError>([this] { check_pidb(nodeinfo); });
  }

  NodeInfo nodeinfo;
};

TEST_F(LogicalInterfaces,
       two_line_cards_with_identical_records_are_unmarked_and_the_list_holds_one_pair) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 5})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(0, 0));
  EXPECT_EQ(log_text(), "\nLogical ifh set:\n{\"7\": [[\"3\", [5, 0]]]}\n");
}

TEST_F(LogicalInterfaces, three_line_cards_where_only_the_third_differs_from_the_first) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 5})");
  add_report("5", R"({"rif": 6})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(1, 0, 1));
  EXPECT_EQ(log_text(), "\nLogical ifh set:\n{\"7\": [[\"3\", [5, 0]], [\"5\", [6, 0]]]}\n");
}

TEST_F(LogicalInterfaces, node_whose_pidb_dump_is_0_is_neither_recorded_nor_marked) {
  add_node("2", 0);
  load("2", R"({"7": {"rif": 9}})");
  add_report("3", R"({"rif": 5})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(std::nullopt, 0));
  EXPECT_EQ(log_text(), "\nLogical ifh set:\n{\"7\": [[\"3\", [5, 0]]]}\n");
}

TEST_F(LogicalInterfaces, any_other_pidb_dump_counts) {
  add_node("3", -1);
  load("3", R"({"7": {"rif": 5}})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(0));
}

// The first node's mark, set in between, is no value of the dump that a later node would have to
// share.
TEST_F(LogicalInterfaces, later_nodes_are_compared_with_the_first_as_it_was_reported) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 6})");
  add_report("5", R"({"rif": 5})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(1, 1, 0));
}

TEST_F(LogicalInterfaces, later_nodes_are_not_compared_with_each_other) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 6})");
  add_report("5", R"({"rif": 6})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(1, 1, 1));
  EXPECT_THAT(log_text(), HasSubstr(R"([["3", [5, 0]], ["4", [6, 0]], ["5", [6, 0]]])"));
}

TEST_F(LogicalInterfaces, first_report_is_the_one_of_the_node_that_stands_first_in_the_node_table) {
  load("4", R"({"7": {"rif": 6}})");
  add_report("10", R"({"rif": 5})");
  add_node("4");
  check_pidb(nodeinfo);
  EXPECT_THAT(log_text(), HasSubstr(R"([["10", [5, 0]], ["4", [6, 0]]])"));
}

TEST_F(LogicalInterfaces, handles_are_compared_each_for_itself) {
  add_node("3");
  add_node("4");
  load("3", R"({"7": {"rif": 5}, "8": {"rif": 6}})");
  load("4", R"({"8": {"rif": 9}, "7": {"rif": 5}, "9": {"rif": 1}})");
  check_pidb(nodeinfo);
  const InterfaceTables& bundles = run_state().pidb_bundle_ifh;
  EXPECT_THAT(marks(), ElementsAre(0, 0));
  EXPECT_EQ(record_of(bundles, "3", "8").additions().inconsistent, 1);
  EXPECT_EQ(record_of(bundles, "4", "8").additions().inconsistent, 1);
  EXPECT_EQ(record_of(bundles, "4", "9").additions().inconsistent, 0);
}

TEST_F(LogicalInterfaces, node_without_loaded_bundles_is_skipped) {
  add_node("RP0");
  add_report("3", R"({"rif": 5})");
  check_pidb(nodeinfo);
  EXPECT_EQ(run_state().pidb_bundle_ifh.find("RP0"), nullptr);
  EXPECT_EQ(bundle("3").additions().inconsistent, 0);
}

TEST_F(LogicalInterfaces, nodes_outside_the_node_table_are_left_alone) {
  add_report("3", R"({"rif": 5})");
  load("4", R"({"7": {"rif": 6}})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(0));
  EXPECT_EQ(bundle("4").additions().inconsistent, std::nullopt);
}

TEST_F(LogicalInterfaces, later_call_begins_without_marks) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 6})");
  check_pidb(nodeinfo);
  load("4", R"({"7": {"rif": 5}})");
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(0, 0));
}

TEST_F(LogicalInterfaces, empty_node_table_still_logs_the_empty_set) {
  check_pidb(nodeinfo);
  EXPECT_EQ(log_text(), "\nLogical ifh set:\n{}\n");
}

TEST_F(LogicalInterfaces, goes_to_the_log_that_was_opened_last) {
  const auto before = run_state().dl_fd.get();
  run_state().dl_fd.set(std::make_shared<LogStream>("/tmp/newer_log.txt"));
  check_pidb(nodeinfo);
  run_state().dl_fd.get()->flush();
  before->flush();
  EXPECT_THAT(read_text("/tmp/newer_log.txt"), StartsWith("\nLogical ifh set:\n"));
  EXPECT_EQ(read_text(kLastLog), "");
}

// ---- Which values count as equal

struct ValuesCase : Row {
  const char* first;
  const char* second;
  int inconsistent;
};

const ValuesCase kValues[] = {
    {{"another_value"}, R"({"rif": 5})", R"({"rif": 6})", 1},
    {{"one_value_more"}, R"({"rif": 5})", R"({"rif": 5, "lif": 9})", 1},
    {{"one_value_less"}, R"({"rif": 5, "lif": 9})", R"({"rif": 5})", 1},
    {{"names_do_not_count"}, R"({"rif": 5})", R"({"lif": 5})", 0},
    {{"order_does_not_count"}, R"({"rif": 5, "lif": 9})", R"({"rif": 9, "lif": 5})", 0},
    {{"repetitions_do_not_count"}, R"({"rif": 5})", R"({"rif": 5, "lif": 5})", 0},
    {{"zero_is_always_there_as_the_mark_itself"}, R"({"rif": 5})", R"({"rif": 5, "l2": 0})", 0},
    {{"no_fields_at_all"}, "{}", "{}", 0},
    {{"mark_of_the_dump_gives_way"}, R"({"inconsistent": 4})", R"({"inconsistent": 1})", 0},
    {{"real_equals_integer"}, R"({"rif": 5})", R"({"rif": 5.0})", 0},
    {{"true_equals_1"}, R"({"l2": 1})", R"({"l2": true})", 0},
    {{"false_equals_0"}, R"({"l2": 0})", R"({"l2": false})", 0},
    {{"true_is_not_2"}, R"({"l2": 2})", R"({"l2": true})", 1},
    {{"text_is_no_number"}, R"({"rif": 5})", R"({"rif": "5"})", 1},
    {{"text_is_not_null"}, R"({"rif": null})", R"({"rif": "null"})", 1},
    {{"null_is_not_0"}, R"({"rif": null})", R"({"rif": 0})", 1},
    {{"nulls_are_equal"}, R"({"rif": null})", R"({"rif": null})", 0},
    {{"texts_by_their_characters"}, R"({"name": "A"})", R"({"name": "\u0041"})", 0},
    {{"texts_by_case"}, R"({"name": "A"})", R"({"name": "a"})", 1},
    {{"wide_numbers"}, R"({"rif": 18446744073709551617})", R"({"rif": 18446744073709551616})", 1},
};

class FieldValues : public LogicalInterfaces, public ::testing::WithParamInterface<ValuesCase> {};

TEST_P(FieldValues, are_compared_as_a_set) {
  add_report("3", GetParam().first);
  add_report("4", GetParam().second);
  check_pidb(nodeinfo);
  EXPECT_THAT(marks(), ElementsAre(GetParam().inconsistent, GetParam().inconsistent));
}

INSTANTIATE_TEST_SUITE_P(Records, FieldValues, ::testing::ValuesIn(kValues), row_name<ValuesCase>);

// ---- Failures

struct BadRecordCase : Row {
  const char* record;
  const char* complaint;
};

const BadRecordCase kBadRecords[] = {
    {{"list"}, R"({"members": [1]})", "holds a list, which no value can be compared with"},
    {{"key_list_of_the_dump"}, R"({"key_list": []})", "holds a list"},
    {{"object"}, R"({"member": {}})", "which no value can be compared with"},
    {{"record_that_is_no_object"}, "5", "\"7\""},
};

class BadRecord : public LogicalInterfaces, public ::testing::WithParamInterface<BadRecordCase> {};

TEST_P(BadRecord, ends_it_without_a_log_text) {
  add_report("3", R"({"rif": 5})");
  add_report("4", GetParam().record);
  EXPECT_THAT(failure(), HasSubstr(GetParam().complaint));
  EXPECT_EQ(log_text(), "");
}

INSTANTIATE_TEST_SUITE_P(Records, BadRecord, ::testing::ValuesIn(kBadRecords),
                         row_name<BadRecordCase>);

TEST_F(LogicalInterfaces, node_record_without_pidb_dump_ends_it_and_marks_stay) {
  add_report("3", R"({"rif": 5})");
  add_report("4", R"({"rif": 6})");
  add_node("5", std::nullopt);
  EXPECT_EQ(failure(), "the node record has no pidb_dump");
  EXPECT_EQ(bundle("3").additions().inconsistent, 1);
  EXPECT_EQ(bundle("4").additions().inconsistent, 1);
  EXPECT_EQ(log_text(), "");
}

TEST_F(LogicalInterfaces, bundle_that_has_its_key_list_ends_it) {
  add_report("3", R"({"rif": 5})");
  bundle("3").additions().key_list.emplace();
  EXPECT_THAT(failure(), HasSubstr("\"7\" has got its key list or sub-interface list already"));
}

TEST_F(LogicalInterfaces, bundle_that_has_its_sub_interface_list_ends_it) {
  add_report("3", R"({"rif": 5})");
  bundle("3").additions().subiflist = std::make_unique<SubifList>();
  EXPECT_THAT(failure(), HasSubstr("\"7\" has got its key list or sub-interface list already"));
}

TEST_F(LogicalInterfaces, dump_that_is_no_table_ends_it) {
  add_node("3");
  load("3", "[]");
  EXPECT_THAT(failure(), HasSubstr("not a table"));
}

TEST_F(LogicalInterfaces, fails_without_a_log) {
  run_state().dl_fd.set(nullptr);
  EXPECT_EQ(failure(), "no log is open");
}

}  // namespace
}  // namespace zorbec::unit
