#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/file_size_limit.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/verify/node_log_test.h"
#include "verify/interface_verification.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Node 3, whose log and standard output are looked at, against tables of node 2 unless said
// otherwise.
class VerifyIntfSpecific : public NodeLogTest {
 protected:
  void have_interfaces(const std::string& dump, const std::string& node = "2") {
    interfaces.set(node, interface_table(dump));
  }
  int run() { return verify_intf_specific(interfaces, pmdb, dl_fd, "3"); }

  // The keys that count as claimed.
  std::vector<std::string> claimed() const {
    std::vector<std::string> names;
    for (std::uint32_t entry = 0; entry < pmdb.size(); ++entry) {
      if (pmdb.is_claimed(entry)) names.emplace_back(pmdb.name(entry));
    }
    return names;
  }

  InterfaceTables interfaces;
  PmdbTable pmdb = pmdb_table("{}");
};

TEST_F(VerifyIntfSpecific, empty_table_misses_nothing) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(log_text(), "");
}

TEST_F(VerifyIntfSpecific, all_expected_keys_present_are_marked_and_nothing_is_printed) {
  have_interfaces(R"({"17": {"key_list": ["0x11", "0x40020005"]}})");
  pmdb = pmdb_table(R"({"1073872901": {}, "17": {}, "18": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("1073872901", "17"));
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(log_text(), "");
}

TEST_F(VerifyIntfSpecific, missing_key_is_reported_in_both_wordings) {
  have_interfaces(R"({"17": {"key_list": ["0x40020005"]}})");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(standard_output.text(), "\nMissing PMDB Key 0x40020005 for ifh 0x11 in node 3\n");
  EXPECT_EQ(log_text(), "\nMISSING PMDB Key 0x40020005 for ifh 0x11 in node 3");
}

TEST_F(VerifyIntfSpecific, keys_behind_a_missing_one_are_still_looked_up) {
  have_interfaces(R"({"17": {"key_list": ["0x1", "0x2", "0x3"]}, "18": {"key_list": ["0x4"]}})");
  pmdb = pmdb_table(R"({"2": {}, "4": {}})");
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(claimed(), ElementsAre("2", "4"));
  EXPECT_EQ(log_text(),
            "\nMISSING PMDB Key 0x1 for ifh 0x11 in node 3"
            "\nMISSING PMDB Key 0x3 for ifh 0x11 in node 3");
}

TEST_F(VerifyIntfSpecific, finding_that_cannot_be_written_ends_it) {
  have_interfaces(R"({"17": {"key_list": ["0x1", "0x2"]}})");
  {
    const FileSizeLimit disk(60);  // full behind the first finding
    EXPECT_EQ(error_of<std::system_error>([&] { run(); }), "write standard output: File too large");
  }
  EXPECT_EQ(log_text(),
            "\nMISSING PMDB Key 0x1 for ifh 0x11 in node 3"
            "\nMISSING PMDB Key 0x2 for ifh 0x11 in node 3");
}

TEST_F(VerifyIntfSpecific, interfaces_of_every_node_are_compared_in_the_tables_order) {
  interfaces.declare("10");
  have_interfaces(R"({"18": {"key_list": ["0x3"]}, "17": {"key_list": ["0x2", "0x1"]}})", "9");
  have_interfaces(R"({"19": {"key_list": ["0x4"]}})", "3");
  have_interfaces(R"({"20": {"key_list": ["0x5"]}})", "10");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(standard_output.text(),
            "\nMissing PMDB Key 0x5 for ifh 0x14 in node 3\n"
            "\nMissing PMDB Key 0x3 for ifh 0x12 in node 3\n"
            "\nMissing PMDB Key 0x2 for ifh 0x11 in node 3\n"
            "\nMissing PMDB Key 0x1 for ifh 0x11 in node 3\n"
            "\nMissing PMDB Key 0x4 for ifh 0x13 in node 3\n");
}

TEST_F(VerifyIntfSpecific, key_listed_by_two_interfaces_is_reported_once_per_interface) {
  have_interfaces(R"({"17": {"key_list": ["0x5"]}, "18": {"key_list": ["0x5", "0x5"]}})");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(standard_output.text(),
            "\nMissing PMDB Key 0x5 for ifh 0x11 in node 3\n"
            "\nMissing PMDB Key 0x5 for ifh 0x12 in node 3\n"
            "\nMissing PMDB Key 0x5 for ifh 0x12 in node 3\n");
}

TEST_F(VerifyIntfSpecific, key_listed_by_two_interfaces_is_marked_if_present) {
  have_interfaces(R"({"17": {"key_list": ["0x5"]}, "18": {"key_list": ["0x5"]}})");
  pmdb = pmdb_table(R"({"5": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("5"));
}

TEST_F(VerifyIntfSpecific, derived_keys_are_compared_rather_than_those_of_the_dump) {
  have_interfaces(R"({"17": {"key_list": ["0x5"]}})");
  interfaces.find("2")->additions[0].key_list = KeyList{17, 6};
  pmdb = pmdb_table(R"({"5": {}, "6": {}, "17": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("6", "17"));
}

TEST_F(VerifyIntfSpecific, empty_key_list_expects_nothing) {
  have_interfaces(R"({"17": {"key_list": []}})");
  pmdb = pmdb_table(R"({"17": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), IsEmpty());
  EXPECT_EQ(log_text(), "");
}

TEST_F(VerifyIntfSpecific, entry_marked_by_the_dump_may_be_claimed) {
  have_interfaces(R"({"17": {"key_list": ["0x5"]}})");
  pmdb = pmdb_table(R"({"5": {"visited": 0}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("5"));
}

TEST_F(VerifyIntfSpecific, node_is_named_as_it_stands) {
  have_interfaces(R"({"17": {"key_list": ["0x5"]}})");
  EXPECT_EQ(verify_intf_specific(interfaces, pmdb, dl_fd, "RP0"), -1);
  EXPECT_THAT(log_text(), EndsWith(" in node RP0"));
}

struct KeyCase : Row {
  const char* key;      // as the key list has it
  const char* decimal;  // as the key map has it
  const char* shown;
};

const KeyCase kKeys[] = {
    {{"leading_zeros_are_stripped"}, "0x00ab", "171", "0xab"},
    {{"no_prefix"}, "ab", "171", "0xab"},
    {{"largest_without_an_l"}, "0x7fffffffffffffff", "9223372036854775807", "0x7fffffffffffffff"},
    {{"two_to_the_63rd_has_an_l"},
     "0x8000000000000000",
     "9223372036854775808",
     "0x8000000000000000L"},
    {{"64_bits"}, "0xffffffffffffffff", "18446744073709551615", "0xffffffffffffffffL"},
    {{"two_to_the_64th"}, "0x10000000000000000", "18446744073709551616", "0x10000000000000000L"},
    {{"100_bits"},
     "0x8000000000000000000000001",
     "633825300114114700748351602689",
     "0x8000000000000000000000001L"},
};

class Key : public VerifyIntfSpecific, public ::testing::WithParamInterface<KeyCase> {
 protected:
  Key() { have_interfaces(R"({"17": {"key_list": [")" + std::string(GetParam().key) + "\"]}}"); }
};

TEST_P(Key, is_found_under_its_decimal_text) {
  pmdb = pmdb_table("{\"" + std::string(GetParam().decimal) + "\": {}}");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre(GetParam().decimal));
}

TEST_P(Key, is_reported_in_hexadecimal) {
  pmdb = pmdb_table("{\"0" + std::string(GetParam().decimal) + "\": {}}");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(log_text(),
            "\nMISSING PMDB Key " + std::string(GetParam().shown) + " for ifh 0x11 in node 3");
}

TEST_P(Key, of_a_handle_is_reported_in_hexadecimal_too) {
  have_interfaces("{\"" + std::string(GetParam().decimal) + R"(": {"key_list": ["0x1"]}})");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(log_text(),
            "\nMISSING PMDB Key 0x1 for ifh " + std::string(GetParam().shown) + " in node 3");
}

INSTANTIATE_TEST_SUITE_P(Keys, Key, ::testing::ValuesIn(kKeys), row_name<KeyCase>);

// ---- Interfaces without a key list

TEST_F(VerifyIntfSpecific, interface_without_key_list_claims_the_entry_of_its_handle) {
  have_interfaces(R"({"17": {}, "18": {"key_list": ["0x5"]}})");
  pmdb = pmdb_table(R"({"5": {}, "17": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("5", "17"));
  EXPECT_EQ(log_text(), "\nERROR: Key_list not present 0x11");
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(VerifyIntfSpecific, interface_without_key_list_keeps_the_result_of_others) {
  have_interfaces(R"({"16": {"key_list": ["0x5"]}, "17": {}})");
  pmdb = pmdb_table(R"({"17": {}})");
  EXPECT_EQ(run(), -1);
}

TEST_F(VerifyIntfSpecific,
       interface_without_key_list_whose_handle_is_no_key_fails_behind_its_line) {
  have_interfaces(R"({"17": {}, "18": {"key_list": ["0x5"]}})");
  EXPECT_EQ(error_of<CheckError>([&] { run(); }),
            "/tmp/pidb_test.dat: interface \"17\" has no key list, and its handle is no key of "
            "the node");
  EXPECT_EQ(log_text(), "\nERROR: Key_list not present 0x11");
}

TEST_F(VerifyIntfSpecific, interface_without_key_list_looks_its_handle_up_as_text) {
  have_interfaces(R"({"017": {}})");
  pmdb = pmdb_table(R"({"17": {}, "017": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(claimed(), ElementsAre("017"));
  EXPECT_EQ(log_text(), "\nERROR: Key_list not present 0x11");
}

TEST_F(VerifyIntfSpecific, interface_without_key_list_from_two_to_the_63rd_has_an_l) {
  have_interfaces(R"({"9223372036854775808": {}, "18446744073709551616": {}})");
  pmdb = pmdb_table(R"({"9223372036854775808": {}, "18446744073709551616": {}})");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(log_text(),
            "\nERROR: Key_list not present 0x8000000000000000L"
            "\nERROR: Key_list not present 0x10000000000000000L");
}

// ---- What ends the comparison; interface 16, which stands before, misses key 0xf.

struct FailureCase : Row {
  const char* interface;  // the second interface: handle and record
  const char* pmdb;
  const char* complaint;
  const char* log = "";  // behind what interface 16 misses
};

const FailureCase kFailures[] = {
    {{"key_of_zero_keeps_the_findings_before"},
     R"("17": {"key_list": ["0x5", "0x0", "0x6"]})",
     "{}",
     R"("17" expects key "0x0", which leaves no hexadecimal digits)",
     "\nMISSING PMDB Key 0x5 for ifh 0x11 in node 3"},
    {{"prefix_alone"}, R"("17": {"key_list": ["0x"]})", R"({"0": {}})", "expects key \"0x\""},
    {{"key_without_hexadecimal_digits"},
     R"("17": {"key_list": ["key"]})",
     "{}",
     "expects key \"key\""},
    {{"key_that_is_a_number"}, R"("17": {"key_list": [5]})", "{}", "in its key_list, not a text"},
    {{"key_list_that_is_null"}, R"("17": {"key_list": null})", R"({"17": {}})", "not a list"},
    {{"key_list_that_is_a_text"}, R"("17": {"key_list": "0x5"})", R"({"5": {}})", "not a list"},
    {{"record_that_is_a_list"}, R"("17": ["key_list"])", R"({"17": {}})", "not a record"},
    {{"record_that_is_null"}, R"("17": null)", R"({"17": {}})", "not a record"},
    {{"record_that_is_a_text"}, R"("17": "key_list")", R"({"17": {}})", "not a record"},
    {{"handle_without_key_list_not_decimal"},
     R"("0x11": {})",
     R"({"0x11": {}})",
     "\"0x11\" has a handle that is not a decimal number"},
    {{"handle_with_a_missing_key_not_decimal"},
     R"("Bundle-Ether1": {"key_list": ["0x5"]})",
     "{}",
     "has a handle that is not a decimal number"},
    {{"claimed_entry_that_is_no_record"},
     R"("17": {"key_list": ["0x5"]})",
     R"({"5": 1})",
     "/tmp/pmdb_test.dat: key \"5\" is "},
    {{"entry_of_a_handle_that_is_no_record"},
     R"("17": {})",
     R"({"17": []})",
     "/tmp/pmdb_test.dat: key \"17\" is ",
     "\nERROR: Key_list not present 0x11"},
};

class Failure : public VerifyIntfSpecific, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(Failure, ends_it_and_keeps_the_findings_so_far) {
  have_interfaces(R"({"16": {"key_list": ["0xf"]}, )" + std::string(GetParam().interface) +
                  R"(, "18": {"key_list": ["0xe"]}})");
  pmdb = pmdb_table(GetParam().pmdb);
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr(GetParam().complaint));
  EXPECT_EQ(log_text(),
            "\nMISSING PMDB Key 0xf for ifh 0x10 in node 3" + std::string(GetParam().log));
  EXPECT_THAT(claimed(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Failures, Failure, ::testing::ValuesIn(kFailures), row_name<FailureCase>);

TEST_F(VerifyIntfSpecific, handle_that_is_not_decimal_matters_only_in_a_message) {
  have_interfaces(R"({"Bundle-Ether1": {"key_list": ["0x5"]}})");
  pmdb = pmdb_table(R"({"5": {}})");
  EXPECT_EQ(run(), 0);
}

TEST_F(VerifyIntfSpecific, table_of_a_node_that_is_no_object) {
  have_interfaces(R"({"16": {"key_list": ["0xf"]}})", "1");
  have_interfaces("[]", "2");
  EXPECT_EQ(error_of<CheckError>([&] { run(); }), "/tmp/pidb_test.dat: holds a list, not a table");
  EXPECT_EQ(log_text(), "\nMISSING PMDB Key 0xf for ifh 0x10 in node 3");
}

TEST_F(VerifyIntfSpecific, key_map_that_is_no_object) {
  have_interfaces(R"({"16": {"key_list": ["0xf"]}})");
  pmdb = pmdb_table("[15]");
  EXPECT_EQ(error_of<CheckError>([&] { run(); }), "/tmp/pmdb_test.dat: holds a list, not a table");
  EXPECT_EQ(log_text(), "");
}

}  // namespace
}  // namespace zorbec::unit
