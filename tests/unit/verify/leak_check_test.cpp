#include "verify/leak_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/verify/node_log_test.h"

namespace zorbec::unit {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string kConfigurationCommand = "confdump -c -l 1 -t 1 -o 1";

class LeakCheck : public NodeLogTest {
 protected:
  int check(const std::string& pmdb) { return check(pmdb_table(pmdb)); }
  int check(const PmdbTable& pmdb) { return check_pmdb_leak(pmdb, dl_fd, "3"); }
};

TEST_F(LeakCheck, every_key_visited_runs_no_command_and_prints_nothing) {
  PmdbTable pmdb = pmdb_table(R"({"5": {}, "6": {"visited": 1}})");
  pmdb.set_visited(0);
  const RecordedCommands commands;
  EXPECT_EQ(check(pmdb), 0);
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(log_text(), "");
}

TEST_F(LeakCheck, no_keys_at_all) {
  EXPECT_EQ(check("{}"), 0);
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(LeakCheck, unvisited_key_is_reported) {
  tools.answer("ifmgr_print", "Interface Port0/3/0/12\n");
  const RecordedCommands commands;
  EXPECT_EQ(check(R"({"1073872901": {}})"), -1);
  EXPECT_EQ(standard_output.text(), "ERROR PMDB Key 0x40020005 leaked !!!!!!\n");
  EXPECT_EQ(log_text(), "ERROR!!!!!! PMDB Key 0x40020005 leaked !!!!!!");
  EXPECT_THAT(commands.lines(), ElementsAre("ifmgr_print database -i 1073872901 -l 0x2"));
  EXPECT_THAT(commands.outputs(), ElementsAre("/tmp/zorbec0.log"));
}

TEST_F(LeakCheck, two_leaked_keys_run_on_in_the_log_and_stand_in_file_order) {
  EXPECT_EQ(check(R"({"9": {}, "10": {"visited": 1}, "5": {}})"), -1);
  EXPECT_EQ(standard_output.text(),
            "ERROR PMDB Key 0x9 leaked !!!!!!\nERROR PMDB Key 0x5 leaked !!!!!!\n");
  EXPECT_EQ(log_text(),
            "ERROR!!!!!! PMDB Key 0x9 leaked !!!!!!ERROR!!!!!! PMDB Key 0x5 leaked !!!!!!");
}

TEST_F(LeakCheck, leak_is_on_standard_output_while_the_next_key_is_asked_for) {
  tools.install("ifmgr_print", "[ $3 != 7 ] || cat /tmp/captured_1 >/tmp/seen");
  EXPECT_EQ(check(R"({"5": {}, "6": {}, "7": {}})"), -1);
  EXPECT_EQ(read_text("/tmp/seen"),
            "ERROR PMDB Key 0x5 leaked !!!!!!\nERROR PMDB Key 0x6 leaked !!!!!!\n");
}

TEST_F(LeakCheck, bundle_is_not_reported_and_the_keys_around_it_are) {
  tools.install("ifmgr_print", "case $3 in 6) echo Bundle-Ether6;; esac");
  const RecordedCommands commands;
  EXPECT_EQ(check(R"({"5": {}, "6": {}, "7": {}})"), -1);
  EXPECT_EQ(standard_output.text(),
            "ERROR PMDB Key 0x5 leaked !!!!!!\nERROR PMDB Key 0x7 leaked !!!!!!\n");
  EXPECT_THAT(commands.lines(),
              ElementsAre("ifmgr_print database -i 5 -l 0x2", "ifmgr_print database -i 6 -l 0x2",
                          kConfigurationCommand, "ifmgr_print database -i 7 -l 0x2"));
}

TEST_F(LeakCheck, bundles_alone_are_no_leak) {
  tools.answer("ifmgr_print", "Bundle-Ether6\n");
  EXPECT_EQ(check(R"({"5": {}, "6": {}})"), 0);
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(log_text(), "");
}

TEST_F(LeakCheck, visited_supplied_by_the_dump_counts_whatever_its_value) {
  const RecordedCommands commands;
  EXPECT_EQ(check(R"({"5": {"visited": 0}, "6": {"visited": null}, "7": {"visited": false}})"), 0);
  EXPECT_THAT(commands.lines(), IsEmpty());
}

TEST_F(LeakCheck, visited_of_another_case_does_not_count) {
  EXPECT_EQ(check(R"({"5": {"Visited": 1}})"), -1);
}

struct KeyNameCase : Row {
  const char* key;
  const char* shown;
};

const KeyNameCase kKeyNames[] = {
    {{"leading_zeros"}, "007", "0x7"},
    {{"zero"}, "0", "0x0"},
    {{"64_bits_without_the_last"}, "9223372036854775807", "0x7fffffffffffffff"},
    {{"two_to_the_63rd_has_an_l"}, "9223372036854775808", "0x8000000000000000L"},
    {{"two_to_the_64th_has_an_l"}, "18446744073709551616", "0x10000000000000000L"},
    {{"negative"}, "-5", "-0x5"},
};

class KeyName : public LeakCheck, public ::testing::WithParamInterface<KeyNameCase> {};

TEST_P(KeyName, goes_into_the_command_as_it_stands_and_is_reported_in_hexadecimal) {
  const RecordedCommands commands;
  EXPECT_EQ(check("{\"" + std::string(GetParam().key) + "\": {}}"), -1);
  EXPECT_EQ(standard_output.text(),
            "ERROR PMDB Key " + std::string(GetParam().shown) + " leaked !!!!!!\n");
  EXPECT_EQ(log_text(), "ERROR!!!!!! PMDB Key " + std::string(GetParam().shown) + " leaked !!!!!!");
  EXPECT_THAT(commands.lines(),
              ElementsAre("ifmgr_print database -i " + std::string(GetParam().key) + " -l 0x2"));
}

INSTANTIATE_TEST_SUITE_P(Keys, KeyName, ::testing::ValuesIn(kKeyNames), row_name<KeyNameCase>);

struct NameCase : Row {
  const char* key;  // as JSON text
};

const NameCase kNoNumbers[] = {
    {{"word"}, "abc"},
    {{"hexadecimal"}, "0x5"},
    {{"number_and_word"}, "5x"},
    {{"plus_sign"}, "+5"},
    {{"real_number"}, "5.0"},
    {{"two_minus_signs"}, "--5"},
    {{"option"}, "-v"},
    {{"assignment"}, "A=1"},
    {{"tilde_inside_a_word"}, "5~6"},
    {{"beyond_ascii"}, "\u0665"},
};

class NameThatIsNoNumber : public LeakCheck, public ::testing::WithParamInterface<NameCase> {
 protected:
  const std::string key = GetParam().key;
};

TEST_P(NameThatIsNoNumber, fails_when_its_leak_is_to_be_reported) {
  const RecordedCommands commands;
  EXPECT_THAT(error_of<CheckError>([&] { check(R"({"5": {}, ")" + key + R"(": {}, "6": {}})"); }),
              HasSubstr("is not a decimal number"));
  EXPECT_THAT(commands.lines(), ElementsAre("ifmgr_print database -i 5 -l 0x2",
                                            "ifmgr_print database -i " + key + " -l 0x2"));
  EXPECT_EQ(standard_output.text(), "ERROR PMDB Key 0x5 leaked !!!!!!\n");
}

TEST_P(NameThatIsNoNumber, is_no_failure_if_it_is_a_bundle) {
  tools.answer("ifmgr_print", "Bundle-Ether1\n");
  EXPECT_EQ(check("{\"" + key + "\": {}}"), 0);
}

TEST_P(NameThatIsNoNumber, is_no_failure_if_it_was_visited) {
  EXPECT_EQ(check("{\"" + key + R"(": {"visited": 1}})"), 0);
}

INSTANTIATE_TEST_SUITE_P(Names, NameThatIsNoNumber, ::testing::ValuesIn(kNoNumbers),
                         row_name<NameCase>);

const NameCase kNoPlainWords[] = {
    {{"empty"}, ""},
    {{"blank"}, "5 6"},
    {{"leading_blank"}, " 5"},
    {{"tabulator"}, "5\\t6"},
    {{"newline"}, "5\\ntouch /tmp/owned"},
    {{"nul"}, "5\\u0000"},
    {{"delete"}, "5\\u007f"},
    {{"semicolon"}, "5;touch${IFS}/tmp/owned;"},
    {{"ampersand"}, "5&touch"},
    {{"pipe"}, "5|touch"},
    {{"output"}, "5>/tmp/owned"},
    {{"input"}, "5</etc/passwd"},
    {{"command_substitution"}, "$(touch /tmp/owned)"},
    {{"variable"}, "$HOME"},
    {{"backquotes"}, "`touch`"},
    {{"subshell"}, "(5)"},
    {{"quote"}, "5'"},
    {{"double_quote"}, "5\\\""},
    {{"backslash"}, "5\\\\"},
    {{"star"}, "*"},
    {{"question_mark"}, "?"},
    {{"brackets"}, "[5]"},
    {{"braces"}, "{5,6}"},
    {{"history"}, "!5"},
    {{"comment"}, "#5"},
    {{"home"}, "~root"},
    {{"home_as_the_value_of_an_assignment"}, "A=~root"},
    {{"home_in_a_path_list"}, "A=x:~root"},
};

class NameThatIsNoPlainWord : public LeakCheck, public ::testing::WithParamInterface<NameCase> {};

TEST_P(NameThatIsNoPlainWord, runs_nothing) {
  const std::string key = GetParam().key;
  const RecordedCommands commands;
  EXPECT_THAT(error_of<CheckError>([&] { check("{\"" + key + R"(": {}, "6": {}})"); }),
              EndsWith("is not a plain word, so nothing is asked for it"));
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_EQ(standard_output.text(), "");
  EXPECT_EQ(log_text(), "");
}

TEST_P(NameThatIsNoPlainWord, is_no_failure_if_it_was_visited) {
  EXPECT_EQ(check("{\"" + std::string(GetParam().key) + R"(": {"visited": 1}})"), 0);
}

INSTANTIATE_TEST_SUITE_P(Names, NameThatIsNoPlainWord, ::testing::ValuesIn(kNoPlainWords),
                         row_name<NameCase>);

TEST_F(LeakCheck, entry_that_is_no_record_ends_it) {
  for (const char* const entry : {"1", "null", "\"visited\"", "[\"visited\"]"}) {
    EXPECT_THAT(
        error_of<CheckError>([&] { check("{\"6\": " + std::string(entry) + ", \"7\": {}}"); }),
        HasSubstr("/tmp/pmdb_test.dat: key \"6\" is "));
  }
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(LeakCheck, dump_that_is_no_table_ends_it) {
  for (const char* const dump : {"[]", "\"text\"", "5", "null"}) {
    EXPECT_THAT(error_of<CheckError>([&] { check(dump); }), EndsWith("not a table")) << dump;
  }
}

TEST_F(LeakCheck, findings_before_a_failure_are_kept) {
  error_of<CheckError>([&] { check(R"({"5": {}, "6": 1})"); });
  EXPECT_EQ(standard_output.text(), "ERROR PMDB Key 0x5 leaked !!!!!!\n");
  EXPECT_EQ(log_text(), "ERROR!!!!!! PMDB Key 0x5 leaked !!!!!!");
}

// ---- The interface manager's answer

struct AnswerCase : Row {
  const char* answer;
  bool names_bundle;
};

const AnswerCase kAnswers[] = {
    {{"empty"}, "", false},
    {{"newline"}, "\n", false},
    {{"other_interface"}, "Interface Port0/3/0/12, bundle none\n", false},
    {{"bundle_on_the_first_line"}, "Interface Bundle-Ether12\nMTU 1514\n", true},
    {{"bundle_on_the_last_line"}, "MTU 1514\nInterface: Bundle-Ether12\n", true},
    {{"bundle_without_a_final_newline"}, "Bundle-Ether12", true},
    {{"bundle_without_a_number"}, "Bundle-Ether\n", true},
    {{"bundle_sub_interface"}, "Bundle-Ether12.100\n", true},
    {{"bundle_inside_a_word"}, "xBundle-Etherx\n", true},
    {{"other_case"}, "bundle-ether12\n", false},
    {{"blank_in_the_name"}, "Bundle Ether12\n", false},
    {{"across_two_lines"}, "Bundle-\nEther12\n", false},
};

class Answer : public NodeLogTest, public ::testing::WithParamInterface<AnswerCase> {};

TEST_P(Answer, names_a_bundle_or_not) {
  tools.answer("ifmgr_print", GetParam().answer);
  const RecordedCommands commands;
  EXPECT_EQ(check_if_bundle_without_member("12"), GetParam().names_bundle ? 0 : 1);
  std::vector<std::string> expected = {"ifmgr_print database -i 12 -l 0x2"};
  if (GetParam().names_bundle) expected.push_back(kConfigurationCommand);
  EXPECT_EQ(commands.lines(), expected);
  EXPECT_THAT(commands.outputs(), Each("/tmp/zorbec0.log"));
}

INSTANTIATE_TEST_SUITE_P(Answers, Answer, ::testing::ValuesIn(kAnswers), row_name<AnswerCase>);

TEST_F(NodeLogTest,
       first_line_that_names_a_bundle_decides_with_one_rendering_of_the_configuration) {
  tools.answer("ifmgr_print", "Bundle-Ether1\nBundle-Ether2\n");
  const RecordedCommands commands;
  EXPECT_EQ(check_if_bundle_without_member("12"), 0);
  EXPECT_EQ(commands.lines().size(), 2U);
}

TEST_F(NodeLogTest, bundle_is_no_leak_whatever_the_configuration_holds) {
  tools.answer("ifmgr_print", "Bundle-Ether12\n");
  for (const char* const configuration :
       {"", " bundle id 12\n", " bundle id 13\n", "bundle id $number\n", "bundle id \nnumber\n"}) {
    tools.answer("confdump", configuration);
    EXPECT_EQ(check_if_bundle_without_member("12"), 0) << configuration;
  }
}

TEST_F(NodeLogTest, failing_interface_manager_is_not_detected) {
  tools.install("ifmgr_print", "echo Bundle-Ether1; exit 1");
  EXPECT_EQ(check_if_bundle_without_member("12"), 0);
  tools.install("ifmgr_print", "echo Bundle-Ether1 >&2; exit 1");
  EXPECT_EQ(check_if_bundle_without_member("12"), 1);
}

TEST_F(NodeLogTest, handle_goes_into_the_command_verbatim) {
  const RecordedCommands commands;
  check_if_bundle_without_member("5 -x '6'");
  EXPECT_THAT(commands.lines(), ElementsAre("ifmgr_print database -i 5 -x '6' -l 0x2"));
}

}  // namespace
}  // namespace zorbec::unit
