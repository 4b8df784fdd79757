#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "base/error.h"
#include "context/run_state.h"
#include "tables/interface_class.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/verify/node_log_test.h"
#include "verify/interface_verification.h"

namespace zorbec::unit {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct VerifiedClass {
  const char* name;
  InterfaceTables RunState::*table;
  const char* label;   // of its table
  const char* result;  // before its value
};

// In the order in which they are verified.
const VerifiedClass kClasses[] = {
    {"physical", &RunState::pidb_physical_ifh, "pidb_physical_ifh is :\n",
     "\n Physical intf Result is : "},
    {"physical_subif", &RunState::pidb_physical_subifh, "pidb_physical_subifh is :\n",
     "\nPhysical sub intf Result is : "},
    {"bundle", &RunState::pidb_bundle_ifh, "pidb_bundle_ifh is :\n", "\nBundle intf Result is : "},
    {"bundle_subif", &RunState::pidb_bundle_subifh, "pidb_bundle_subifh is :\n",
     "\nBundle intf Result is : "},
    {"bvi", &RunState::pidb_bvi_ifh, "pidb_bvi_ifh is :\n", "\nBVI intf Result is : "},
    {"gre", &RunState::pidb_gre_ifh, "pidb_gre_ifh is :\n", "\nGRE intf Result is : "},
};
static_assert(std::size(kClasses) == kEnumCount<InterfaceClass>, "each class is tested");

class Verify : public NodeLogTest {
 protected:
  static void have_keys(const std::string& dump, const std::string& node = "3") {
    run_state().pmdb_keys.set(node, pmdb_table(dump));
  }
  static void have_interfaces(InterfaceTables RunState::*table, const std::string& dump,
                              const std::string& node = "3") {
    (run_state().*table).set(node, interface_table(dump));
  }
  void run() { verify("3", dl_fd); }
};

TEST_F(Verify, node_absent_from_pmdb_keys_has_one_line_in_its_log_and_nothing_else) {
  have_keys("{}", "2");
  run_state().pmdb_keys.declare("3");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"17": {"key_list": ["0x5"]}})");
  run();
  EXPECT_EQ(log_text(), "\nERROR: PMDB Dictionary is empty for 3");
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(Verify, empty_truth_table_has_its_heading_its_label_an_empty_map_and_a_result_of_zero) {
  have_keys("{}");
  run();
  EXPECT_EQ(log_text(),
            "\nphysical intf verification\npidb_physical_ifh is :\n{}\n"
            "\npmdb_dict is :\n{}\n"
            "\n Physical intf Result is : 0"
            "\nphysical sub intf verification\npidb_physical_subifh is :\n{}\n"
            "\nPhysical sub intf Result is : 0"
            "\nbundle intf verification\npidb_bundle_ifh is :\n{}\n"
            "\nBundle intf Result is : 0"
            "\nbundle sub intf verification\npidb_bundle_subifh is :\n{}\n"
            "\nBundle intf Result is : 0"
            "\nbvi intf verification\npidb_bvi_ifh is :\n{}\n"
            "\nBVI intf Result is : 0"
            "\ngre intf verification\npidb_gre_ifh is :\n{}\n"
            "\nGRE intf Result is : 0"
            "\nChecking pmdb leaks: \n"
            "\ncheck_pmdb_leak Result is : 0"
            "\nOverall Result is : 0");
}

TEST_F(Verify, bundle_sub_interface_result_is_labelled_like_the_bundle_result) {
  have_keys(R"({"3": {}})");
  have_interfaces(&RunState::pidb_bundle_ifh, R"({"17": {"key_list": ["0x3"]}})");
  have_interfaces(&RunState::pidb_bundle_subifh, R"({"17": {"key_list": ["0x4"]}})");
  run();
  EXPECT_THAT(log_text(), HasSubstr("\nBundle intf Result is : 0\nbundle sub intf verification\n"));
  EXPECT_THAT(log_text(), HasSubstr("\nBundle intf Result is : -1\nbvi intf verification\n"));
}

TEST_F(Verify, clean_node_has_results_of_zero_and_nothing_on_standard_output) {
  have_keys(R"({"1": {}, "2": {}, "3": {}, "4": {}, "5": {}, "6": {}})");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"17": {"key_list": ["0x1"]}})");
  have_interfaces(&RunState::pidb_physical_subifh, R"({"17": {"key_list": ["0x2"]}})");
  have_interfaces(&RunState::pidb_bundle_ifh, R"({"17": {"key_list": ["0x3"]}})");
  have_interfaces(&RunState::pidb_bundle_subifh, R"({"17": {"key_list": ["0x4"]}})");
  have_interfaces(&RunState::pidb_bvi_ifh, R"({"17": {"key_list": ["0x5"]}})");
  have_interfaces(&RunState::pidb_gre_ifh, R"({"17": {"key_list": ["0x6"]}})");
  run();
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(log_text(),
            "\nphysical intf verification\n"
            "pidb_physical_ifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x1\"]}}}\n"
            "\npmdb_dict is :\n"
            "{\"1\": {}, \"2\": {}, \"3\": {}, \"4\": {}, \"5\": {}, \"6\": {}}\n"
            "\n Physical intf Result is : 0"
            "\nphysical sub intf verification\n"
            "pidb_physical_subifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x2\"]}}}\n"
            "\nPhysical sub intf Result is : 0"
            "\nbundle intf verification\n"
            "pidb_bundle_ifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x3\"]}}}\n"
            "\nBundle intf Result is : 0"
            "\nbundle sub intf verification\n"
            "pidb_bundle_subifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x4\"]}}}\n"
            "\nBundle intf Result is : 0"
            "\nbvi intf verification\n"
            "pidb_bvi_ifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x5\"]}}}\n"
            "\nBVI intf Result is : 0"
            "\ngre intf verification\n"
            "pidb_gre_ifh is :\n"
            "{\"3\": {\"17\": {\"key_list\": [\"0x6\"]}}}\n"
            "\nGRE intf Result is : 0"
            "\nChecking pmdb leaks: \n"
            "\ncheck_pmdb_leak Result is : 0"
            "\nOverall Result is : 0");
}

TEST_F(Verify, faulty_node_has_its_findings_between_tables_and_results) {
  have_keys(R"({"8": {}, "17": {}, "9": {}})");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"17": {}, "18": {"key_list": ["0x5"]}})");
  have_interfaces(&RunState::pidb_gre_ifh, R"({"19": {"key_list": ["0x6"]}})", "2");
  run();
  EXPECT_EQ(standard_output.text(),
            "\nMissing PMDB Key 0x5 for ifh 0x12 in node 3\n"
            "\nMissing PMDB Key 0x6 for ifh 0x13 in node 3\n"
            "ERROR PMDB Key 0x8 leaked !!!!!!\n"
            "ERROR PMDB Key 0x9 leaked !!!!!!\n");
  EXPECT_EQ(log_text(),
            "\nphysical intf verification\n"
            "pidb_physical_ifh is :\n"
            "{\"3\": {\"17\": {}, \"18\": {\"key_list\": [\"0x5\"]}}}\n"
            "\npmdb_dict is :\n"
            "{\"17\": {}, \"8\": {}, \"9\": {}}\n"
            "\nERROR: Key_list not present 0x11"
            "\nMISSING PMDB Key 0x5 for ifh 0x12 in node 3"
            "\n Physical intf Result is : -1"
            "\nphysical sub intf verification\npidb_physical_subifh is :\n{}\n"
            "\nPhysical sub intf Result is : 0"
            "\nbundle intf verification\npidb_bundle_ifh is :\n{}\n"
            "\nBundle intf Result is : 0"
            "\nbundle sub intf verification\npidb_bundle_subifh is :\n{}\n"
            "\nBundle intf Result is : 0"
            "\nbvi intf verification\npidb_bvi_ifh is :\n{}\n"
            "\nBVI intf Result is : 0"
            "\ngre intf verification\n"
            "pidb_gre_ifh is :\n"
            "{\"2\": {\"19\": {\"key_list\": [\"0x6\"]}}}\n"
            "\nMISSING PMDB Key 0x6 for ifh 0x13 in node 3"
            "\nGRE intf Result is : -1"
            "\nChecking pmdb leaks: \n"
            "ERROR!!!!!! PMDB Key 0x8 leaked !!!!!!ERROR!!!!!! PMDB Key 0x9 leaked !!!!!!"
            "\ncheck_pmdb_leak Result is : -1"
            "\nOverall Result is : -1");
}

// One class at a time is at fault.
class FaultyClass : public Verify, public ::testing::WithParamInterface<std::size_t> {
 protected:
  const VerifiedClass& faulty = kClasses[GetParam()];
};

TEST_P(FaultyClass, missing_one_key_decides_its_result_and_the_overall_one) {
  have_keys("{}");
  have_interfaces(faulty.table, R"({"17": {"key_list": ["0x5"]}})");
  run();
  EXPECT_EQ(standard_output.text(), "\nMissing PMDB Key 0x5 for ifh 0x11 in node 3\n");
  std::string results;
  for (const VerifiedClass& each : kClasses) {
    if (&each == &faulty) results += "\nMISSING PMDB Key 0x5 for ifh 0x11 in node 3";
    results += std::string(each.result) + (&each == &faulty ? "-1" : "0");
  }
  results += "\ncheck_pmdb_leak Result is : 0\nOverall Result is : -1";
  // The log without its headings and tables.
  std::string log = log_text();
  for (const char* const heading :
       {"physical", "physical sub", "bundle", "bundle sub", "bvi", "gre"}) {
    const std::size_t begin = log.find(std::string("\n").append(heading) + " intf verification\n");
    const std::size_t end = log.find("}\n\n", begin);
    ASSERT_NE(end, std::string::npos);
    log.erase(begin, end + 2 - begin);
  }
  const std::string key_map = "\npmdb_dict is :\n{}\n";
  ASSERT_NE(log.find(key_map), std::string::npos);
  log.erase(log.find(key_map), key_map.size());
  const std::string leaks = "\nChecking pmdb leaks: \n";
  ASSERT_NE(log.find(leaks), std::string::npos);
  log.erase(log.find(leaks), leaks.size());
  EXPECT_EQ(log, results);
}

TEST_P(FaultyClass, failing_ends_the_nodes_verification_with_the_findings_so_far_kept) {
  have_keys(R"({"1": {}, "99": {}})");
  have_interfaces(faulty.table, R"({"17": {"key_list": ["0x1", "0x2", "0x0", "0x3"]}})");
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr("no hexadecimal digits"));
  EXPECT_THAT(log_text(), EndsWith("\nMISSING PMDB Key 0x2 for ifh 0x11 in node 3"));
  EXPECT_THAT(log_text(), HasSubstr(faulty.label));
  EXPECT_EQ(standard_output.text(), "\nMissing PMDB Key 0x2 for ifh 0x11 in node 3\n");
  // The mark stays, and the classes behind were not shown.
  EXPECT_TRUE(run_state().pmdb_keys.find("3")->is_visited(0));
  for (std::size_t number = GetParam() + 1; number < std::size(kClasses); ++number) {
    EXPECT_EQ(log_text().find(kClasses[number].label), std::string::npos);
  }
}

TEST_P(FaultyClass, table_that_is_no_object_is_shown_and_ends_it) {
  have_keys("{}");
  have_interfaces(faulty.table, R"([{"17": {}}])");
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr("not a table"));
  const std::string shown = std::string(faulty.label) + "{\"3\": [{\"17\": {}}]}\n";
  EXPECT_THAT(log_text(), EndsWith(GetParam() == 0 ? shown + "\npmdb_dict is :\n{}\n" : shown));
}

INSTANTIATE_TEST_SUITE_P(Classes, FaultyClass,
                         ::testing::Range(std::size_t{0}, std::size(kClasses)),
                         [](const auto& row) { return kClasses[row.param].name; });

TEST_F(Verify, leak_alone_decides_the_overall_result) {
  have_keys(R"({"8": {}})");
  run();
  EXPECT_THAT(log_text(), EndsWith("\nGRE intf Result is : 0"
                                   "\nChecking pmdb leaks: \n"
                                   "ERROR!!!!!! PMDB Key 0x8 leaked !!!!!!"
                                   "\ncheck_pmdb_leak Result is : -1"
                                   "\nOverall Result is : -1"));
}

TEST_F(Verify, key_claimed_by_one_class_is_claimed_for_the_leak_check) {
  have_keys(R"({"5": {}, "19": {}})");
  have_interfaces(&RunState::pidb_bvi_ifh, R"({"18": {"key_list": ["0x5"]}})", "2");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"19": {}})");
  run();
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_THAT(log_text(), EndsWith("\nOverall Result is : 0"));
}

TEST_F(Verify, leak_check_that_fails_leaves_no_result_behind_it) {
  have_keys(R"({"8": {}, "key": {}})");
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr("not a decimal number"));
  EXPECT_THAT(log_text(),
              EndsWith("\nChecking pmdb leaks: \nERROR!!!!!! PMDB Key 0x8 leaked !!!!!!"));
}

TEST_F(Verify, key_map_that_is_no_object_is_shown_and_ends_it_at_the_latest_in_the_leak_check) {
  have_keys(R"(["5", 6])");
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr("not a table"));
  EXPECT_THAT(log_text(), HasSubstr("\npmdb_dict is :\n[\"5\", 6]\n"));
  EXPECT_THAT(log_text(), EndsWith("\nGRE intf Result is : 0\nChecking pmdb leaks: \n"));
}

TEST_F(Verify, entries_of_all_nodes_are_shown_sorted_by_name) {
  have_keys("{}");
  have_interfaces(&RunState::pidb_physical_ifh, "{}", "3");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"9": {"key_list": []}})", "2");
  have_interfaces(&RunState::pidb_physical_ifh, "{}", "10");
  run();
  EXPECT_THAT(log_text(),
              StartsWith("\nphysical intf verification\n"
                         "pidb_physical_ifh is :\n"
                         "{\"10\": {}, \"2\": {\"9\": {\"key_list\": []}}, \"3\": {}}\n"));
}

TEST_F(Verify, another_nodes_key_map_is_left_alone) {
  have_keys(R"({"5": {}})");
  have_keys(R"({"5": {}})", "4");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"17": {"key_list": ["0x5"]}})");
  run();
  EXPECT_TRUE(run_state().pmdb_keys.find("3")->is_visited(0));
  EXPECT_FALSE(run_state().pmdb_keys.find("4")->is_visited(0));
}

TEST_F(Verify, marks_of_an_earlier_run_show_in_the_key_map_and_only_there) {
  have_keys(R"({"5": {"hw": 2}, "6": {}})");
  have_interfaces(&RunState::pidb_physical_ifh, R"({"17": {"key_list": ["0x5"]}})");
  run();
  EXPECT_THAT(log_text(), HasSubstr("\npmdb_dict is :\n{\"5\": {\"hw\": 2}, \"6\": {}}\n"));
  LogStream next_log("/tmp/debug_logs_next.txt");
  verify("3", next_log);
  next_log.flush();
  EXPECT_THAT(read_text("/tmp/debug_logs_next.txt"),
              HasSubstr("\npmdb_dict is :\n{\"5\": {\"hw\": 2, \"visited\": 1}, \"6\": {}}\n"));
}

}  // namespace
}  // namespace zorbec::unit
