#include "keys/interface_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/records.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

Texts handles_of(const InterfaceTables& tables, const std::string& node) {
  Texts handles;
  for_each_interface(tables, node,
                     [&](const InterfaceRecord& record) { handles.emplace_back(record.handle()); });
  return handles;
}

TEST(ForEachInterface, visits_the_nodes_interfaces_in_file_order) {
  InterfaceTables tables;
  tables.set("2", interface_table(R"({"9": {}, "10": {}, "1": {}})"));
  tables.set("3", interface_table(R"({"4": {}})"));
  EXPECT_THAT(handles_of(tables, "2"), ElementsAre("9", "10", "1"));
  EXPECT_THAT(handles_of(tables, "3"), ElementsAre("4"));
}

TEST(ForEachInterface, visits_none_of_a_node_that_loaded_nothing) {
  InterfaceTables tables;
  tables.declare("2");
  EXPECT_THAT(handles_of(tables, "2"), IsEmpty());
  EXPECT_THAT(handles_of(tables, "3"), IsEmpty());
}

TEST(ForEachInterface, dump_that_is_no_table) {
  InterfaceTables tables;
  tables.set("2", interface_table("[1, 2]"));
  EXPECT_EQ(error_of<CheckError>([&] { handles_of(tables, "2"); }),
            "/tmp/pidb_test.dat: holds a list, not a table");
}

// Interface 5 of node 2, whose bundles are 7 and "007".
class FindInterface : public ::testing::Test {
 protected:
  FindInterface() {
    bundles.set("2", interface_table(R"({"7": {"name": "seven"}, "007": {"name": "text"}})"));
  }
  std::string name_of(const std::string& node, const std::string& handle) {
    const InterfaceRecord bundle = find_interface(bundles, node, handle, {ports, 0});
    return std::string(bundle.field("name").text());
  }

  InterfaceTables bundles;
  InterfaceTable ports = interface_table(R"({"5": {}})");
};

TEST_F(FindInterface, compares_handles_as_texts) {
  EXPECT_EQ(name_of("2", "7"), "seven");
  EXPECT_EQ(name_of("2", "007"), "text");
}

TEST_F(FindInterface, handle_that_the_node_does_not_report) {
  EXPECT_EQ(error_of<CheckError>([&] { name_of("2", "07"); }),
            R"(/tmp/pidb_test.dat: interface "5" refers to "07", which node 2 does not report)");
}

TEST_F(FindInterface, node_that_loaded_nothing) {
  EXPECT_THAT(error_of<CheckError>([&] { name_of("3", "7"); }),
              EndsWith("refers to \"7\", which node 3 does not report"));
}

TEST(Subiflist, is_null_if_neither_the_dump_nor_the_checker_listed_any) {
  InterfaceTable bundles = interface_table(R"({"7": {"rif": 1}})");
  EXPECT_EQ(own_subiflist({bundles, 0}), nullptr);
}

TEST(Subiflist, starts_with_what_the_dump_supplied) {
  InterfaceTable bundles = interface_table(R"({"7": {"subiflist": ["21", "x"]}})");
  own_subiflist({bundles, 0})->listed.emplace_back("22");
  own_subiflist({bundles, 0})->listed.emplace_back("23");
  EXPECT_THAT(subifs_of({bundles, 0}), ElementsAre("21", "x", "22", "23"));
}

TEST(Subiflist, empty_list_of_the_dump_is_a_list) {
  InterfaceTable bundles = interface_table(R"({"7": {"subiflist": []}})");
  ASSERT_NE(own_subiflist({bundles, 0}), nullptr);
  EXPECT_THAT(subifs_of({bundles, 0}), IsEmpty());
}

struct BadListCase : Row {
  const char* list;
  const char* complaint;
};

const BadListCase kNoLists[] = {
    {{"text"}, "\"21\"", "has subiflist a text \"21\", not a list"},
    {{"null"}, "null", "has subiflist null, not a list"},
    {{"object"}, "{}", "has subiflist an object, not a list"},
};

class SubiflistThatIsNoList : public ::testing::TestWithParam<BadListCase> {};

TEST_P(SubiflistThatIsNoList, fails) {
  InterfaceTable bundles =
      interface_table(R"({"7": {"subiflist": )" + std::string(GetParam().list) + "}}");
  EXPECT_THAT(error_of<CheckError>([&] {
                own_subiflist({bundles, 0});
              }),
              HasSubstr(GetParam().complaint));
  EXPECT_EQ(bundles.additions[0].subiflist, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Lists, SubiflistThatIsNoList, ::testing::ValuesIn(kNoLists),
                         row_name<BadListCase>);

const BadListCase kBadElements[] = {
    {{"number"}, "[\"20\", 21]", "\"21\" in its subiflist, not a text"},
    {{"null"}, "[\"20\", null]", "has null in its subiflist, not a text"},
    {{"list"}, R"(["20", ["21"]])", "has a list in its subiflist, not a text"},
};

class SubiflistElement : public ::testing::TestWithParam<BadListCase> {};

TEST_P(SubiflistElement, that_is_no_text_ends_the_visit) {
  InterfaceTable bundles =
      interface_table(R"({"7": {"subiflist": )" + std::string(GetParam().list) + "}}");
  const InterfaceRecord bundle(bundles, 0);
  const SubifList& handles = *own_subiflist(bundle);
  Texts seen;
  EXPECT_THAT(error_of<CheckError>([&] {
                for_each_subif(bundle, handles,
                               [&](std::string_view handle) { seen.emplace_back(handle); });
              }),
              HasSubstr(GetParam().complaint));
  EXPECT_THAT(seen, ElementsAre("20"));
}

INSTANTIATE_TEST_SUITE_P(Lists, SubiflistElement, ::testing::ValuesIn(kBadElements),
                         row_name<BadListCase>);

// How a complaint about interface 7 begins.
const std::string kInterface = "/tmp/pidb_test.dat: interface \"7\" ";

// The decimal texts of the keys that were visited, then "none" if the record has no list, and the
// complaint if there was one.
Texts visit_expected_keys(const InterfaceRecord& record) {
  Texts seen;
  try {
    if (!for_each_expected_key(record,
                               [&](const Integer& key) { seen.push_back(key.decimal()); })) {
      seen.emplace_back("none");
    }
  } catch (const CheckError& error) {
    seen.emplace_back(error.what());
  }
  return seen;
}

TEST(ForEachExpectedKey, visits_derived_keys_in_list_order_with_duplicates) {
  InterfaceTable table = interface_table(R"({"7": {}})");
  table.additions[0].key_list = KeyList{7, 5, 7};
  EXPECT_THAT(visit_expected_keys({table, 0}), ElementsAre("7", "5", "7"));
}

TEST(ForEachExpectedKey, derived_keys_hide_those_of_the_dump) {
  InterfaceTable table = interface_table(R"({"7": {"key_list": ["0x1"]}})");
  table.additions[0].key_list = KeyList{};
  EXPECT_THAT(visit_expected_keys({table, 0}), IsEmpty());
}

TEST(ForEachExpectedKey, derived_key_of_zero_ends_it_after_the_keys_before) {
  InterfaceTable table = interface_table(R"({"7": {}})");
  table.additions[0].key_list = KeyList{5, 0, 6};
  EXPECT_THAT(
      visit_expected_keys({table, 0}),
      ElementsAre(
          "5", kInterface + "expects key \"0x0\", which leaves no hexadecimal digits to look up"));
}

struct DumpedKeysCase : Row {
  const char* record;
  Texts seen;
};

const DumpedKeysCase kDumpedKeys[] = {
    {{"no_list"}, "{}", {"none"}},
    {{"empty_list"}, R"({"key_list": []})", {}},
    {{"keys_of_the_dump"}, R"({"key_list": ["0x00ab", "ab", "x0f"]})", {"171", "171", "15"}},
    {{"key_beyond_64_bits"}, R"({"key_list": ["0x10000000000000000"]})", {"18446744073709551616"}},
    {{"zero_behind_a_key"},
     R"({"key_list": ["0x5", "0x0", "0x6"]})",
     {"5", kInterface + "expects key \"0x0\", which leaves no hexadecimal digits to look up"}},
    {{"empty_text"},
     R"({"key_list": [""]})",
     {kInterface + "expects key \"\", which leaves no hexadecimal digits to look up"}},
    {{"no_hexadecimal_digits"},
     R"({"key_list": ["0xzz"]})",
     {kInterface + "expects key \"0xzz\", which leaves no hexadecimal digits to look up"}},
    {{"number_behind_a_key"},
     R"({"key_list": ["0x5", []]})",
     {"5", kInterface + "has a list in its key_list, not a text"}},
    {{"no_list_but_null"}, R"({"key_list": null})", {kInterface + "has key_list null, not a list"}},
    {{"no_object"}, "[]", {kInterface + "is a list, not a record"}},
};

class DumpedKeys : public ::testing::TestWithParam<DumpedKeysCase> {};

TEST_P(DumpedKeys, are_visited_up_to_the_first_that_is_none) {
  InterfaceTable table = interface_table(R"({"7": )" + std::string(GetParam().record) + "}");
  EXPECT_EQ(visit_expected_keys({table, 0}), GetParam().seen);
}

INSTANTIATE_TEST_SUITE_P(Records, DumpedKeys, ::testing::ValuesIn(kDumpedKeys),
                         row_name<DumpedKeysCase>);

}  // namespace
}  // namespace zorbec::unit
