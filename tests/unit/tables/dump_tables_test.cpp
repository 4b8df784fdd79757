#include "tables/dump_tables.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/support/errors.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using unit::error_of;
using unit::interface_table;
using unit::pmdb_table;

std::vector<std::string> nodes_of(const InterfaceTables& tables) {
  std::vector<std::string> nodes;
  for (const auto& [node, table] : tables.nodes()) nodes.push_back(node);
  return nodes;
}

TEST(NodeTable, is_empty_at_first) {
  const InterfaceTables tables;
  EXPECT_TRUE(tables.nodes().empty());
  EXPECT_EQ(tables.find("3"), nullptr);
}

TEST(NodeTable, nodes_stand_in_declared_order_whichever_is_loaded_first) {
  InterfaceTables tables;
  for (const char* node : {"RP0", "10", "2", "3"}) tables.declare(node);
  for (const char* node : {"3", "RP0", "2", "10"}) tables.set(node, interface_table("{}"));
  EXPECT_THAT(nodes_of(tables), ElementsAre("RP0", "10", "2", "3"));
}

TEST(NodeTable, declared_node_is_not_there_until_it_is_loaded) {
  InterfaceTables tables;
  tables.declare("2");
  tables.declare("3");
  tables.set("3", interface_table("{}"));
  EXPECT_EQ(tables.find("2"), nullptr);
  EXPECT_THAT(nodes_of(tables), ElementsAre("3"));
}

TEST(NodeTable, node_that_was_not_declared_stands_behind) {
  InterfaceTables tables;
  tables.declare("3");
  tables.set("9", interface_table("{}"));
  tables.set("3", interface_table("{}"));
  EXPECT_THAT(nodes_of(tables), ElementsAre("3", "9"));
}

TEST(NodeTable, declaring_again_changes_nothing) {
  InterfaceTables tables;
  tables.declare("3");
  tables.set("3", interface_table(R"({"5": {}})"));
  tables.set("4", interface_table("{}"));
  for (const char* node : {"4", "3"}) tables.declare(node);
  EXPECT_THAT(nodes_of(tables), ElementsAre("3", "4"));
  EXPECT_EQ(tables.find("3")->document.size(), 1U);
}

TEST(NodeTable, later_load_replaces_only_its_own_node) {
  InterfaceTables tables;
  tables.set("3", interface_table(R"({"5": {}})"));
  InterfaceTable& other = tables.set("4", interface_table(R"({"6": {}})"));
  InterfaceTable& here = tables.set("3", interface_table(R"({"7": {}, "8": {}})"));
  EXPECT_EQ(tables.find("3"), &here);
  EXPECT_EQ(here.document.size(), 2U);
  EXPECT_EQ(tables.find("4"), &other);
  EXPECT_EQ(other.document.name(0), "6");
}

TEST(NodeTable, workers_loading_at_once_see_only_their_own_node_replaced) {
  constexpr std::size_t kNodes = 8;
  InterfaceTables tables;
  unit::in_threads(kNodes, [&](std::size_t node) {
    const std::string name = std::to_string(node);
    for (int i = 0; i < 50; ++i) {
      InterfaceTable& table = tables.set(name, interface_table("{\"" + name + "\": {}}"));
      EXPECT_EQ(table.document.name(0), name);
      EXPECT_EQ(tables.find(name), &table);
    }
  });
  EXPECT_EQ(tables.nodes().size(), kNodes);
}

// ---------------------------------------------------------------------------------------------

TEST(InterfaceTable, empty_one_is_a_table) {
  const InterfaceTable table("/tmp/pidb_bundle_3.dat");
  EXPECT_NO_THROW(table.require_object());
  EXPECT_EQ(table.document.size(), 0U);
  EXPECT_TRUE(table.additions.empty());
}

TEST(InterfaceTable, has_additions_for_each_interface) {
  EXPECT_EQ(interface_table(R"({"5": {}, "6": {}, "5": {}})").additions.size(), 2U);
}

TEST(InterfaceTable, dump_that_is_no_object_is_no_table) {
  const InterfaceTable table = interface_table("[1]", "/tmp/pidb_bundle_3.dat");
  EXPECT_EQ(error_of<CheckError>([&] { table.require_object(); }),
            "/tmp/pidb_bundle_3.dat: holds a list, not a table");
}

TEST(InterfaceRecord, gives_its_handle_and_fields) {
  InterfaceTable table = interface_table(R"({"5": {"a": 1}, "6": {"rif": 7}})");
  const InterfaceRecord record(table, 1);
  EXPECT_EQ(record.handle(), "6");
  EXPECT_EQ(record.field("rif").text(), "7");
  EXPECT_EQ(record.find("a"), std::nullopt);
}

TEST(InterfaceRecord, missing_field_is_an_error_that_names_dump_handle_and_field) {
  InterfaceTable table = interface_table(R"({"6": {}})", "/tmp/pidb_bundle_3.dat");
  EXPECT_EQ(error_of<CheckError>([&] { InterfaceRecord(table, 0).field("rif"); }),
            R"(/tmp/pidb_bundle_3.dat: interface "6" has no field "rif")");
}

TEST(InterfaceRecord, that_is_no_object_has_no_fields) {
  InterfaceTable table = interface_table(R"({"6": "x"})", "/tmp/pidb_bundle_3.dat");
  EXPECT_EQ(error_of<CheckError>([&] { InterfaceRecord(table, 0).find("rif"); }),
            R"(/tmp/pidb_bundle_3.dat: interface "6" is a text, not a record)");
}

TEST(InterfaceRecord, additions_are_its_own) {
  InterfaceTable table = interface_table(R"({"5": {}, "6": {}})");
  InterfaceRecord(table, 1).additions().key_list = KeyList{Integer(6)};
  EXPECT_FALSE(table.additions[0].key_list.has_value());
  EXPECT_TRUE(table.additions[1].key_list.has_value());
}

// ---------------------------------------------------------------------------------------------

struct FindCase : unit::Row {
  std::string key;
  std::optional<std::uint32_t> entry;
};

class PmdbFind : public ::testing::TestWithParam<FindCase> {};

TEST_P(PmdbFind, key_by_its_decimal_text) {
  const PmdbTable pmdb =
      pmdb_table(R"({"50331976": {}, "007": {}, "0": {}, "18446744073709551615": {},)"
                 R"( "18446744073709551616": {}, "-1": {}})");
  EXPECT_EQ(pmdb.find(Integer::from_decimal(GetParam().key).value()), GetParam().entry);
}

INSTANTIATE_TEST_SUITE_P(Key, PmdbFind,
                         ::testing::Values(FindCase{"present", "50331976", 0},
                                           FindCase{"leading_zeros_are_nobodys_key", "7", {}},
                                           FindCase{"zero", "0", 2},
                                           FindCase{"largest_word", "18446744073709551615", 3},
                                           FindCase{"two_to_64", "18446744073709551616", 4},
                                           FindCase{"absent_wide", "18446744073709551617", {}},
                                           FindCase{"negative", "-1", 5},
                                           FindCase{"absent", "1", {}}),
                         unit::row_name<FindCase>);

TEST(PmdbTable, finds_an_entry_by_its_name) {
  const PmdbTable pmdb = pmdb_table(R"({"007": {}, "abc": {}})");
  EXPECT_EQ(pmdb.find("007"), 0U);
  EXPECT_EQ(pmdb.find("abc"), 1U);
  EXPECT_EQ(pmdb.find("7"), std::nullopt);
}

TEST(PmdbTable, empty_one_has_no_keys) {
  const PmdbTable pmdb("/tmp/pmdb_3.dat");
  EXPECT_EQ(pmdb.size(), 0U);
  EXPECT_EQ(pmdb.find(Integer(5)), std::nullopt);
}

TEST(PmdbTable, claimed_entry_is_visited_and_no_other) {
  PmdbTable pmdb = pmdb_table(R"({"5": {}, "6": {}})");
  EXPECT_FALSE(pmdb.is_visited(0));
  pmdb.set_visited(0);
  EXPECT_TRUE(pmdb.is_visited(0));
  EXPECT_TRUE(pmdb.is_claimed(0));
  EXPECT_FALSE(pmdb.is_visited(1));
}

TEST(PmdbTable, visited_in_the_dump_counts_whatever_its_value) {
  const PmdbTable pmdb = pmdb_table(R"({"5": {"visited": 0}, "6": {"visited": null}})");
  EXPECT_TRUE(pmdb.is_visited(0));
  EXPECT_TRUE(pmdb.is_visited(1));
  EXPECT_FALSE(pmdb.is_claimed(0));
}

TEST(PmdbTable, entry_that_is_no_object_can_be_neither_claimed_nor_asked) {
  PmdbTable pmdb = pmdb_table(R"({"5": [1]})", "/tmp/pmdb_3.dat");
  const std::string error = R"(/tmp/pmdb_3.dat: key "5" is a list, not a record)";
  EXPECT_EQ(error_of<CheckError>([&] { pmdb.set_visited(0); }), error);
  EXPECT_EQ(error_of<CheckError>([&] { pmdb.is_visited(0); }), error);
  EXPECT_FALSE(pmdb.is_claimed(0));
}

TEST(PmdbTable, dump_that_is_no_object_cannot_be_searched) {
  const PmdbTable pmdb = pmdb_table("null", "/tmp/pmdb_3.dat");
  const std::string error = "/tmp/pmdb_3.dat: holds null, not a table";
  EXPECT_EQ(error_of<CheckError>([&] { pmdb.find("5"); }), error);
  EXPECT_EQ(error_of<CheckError>([&] { pmdb.find(Integer(5)); }), error);
  EXPECT_EQ(error_of<CheckError>([&] { pmdb.require_object(); }), error);
}

}  // namespace
}  // namespace zorbec
