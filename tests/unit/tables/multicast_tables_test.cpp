#include "tables/multicast_tables.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

const MulticastEntries kOneEntry = {{0, {{"rif", "0x1"}}}};

std::vector<std::string> addresses(const MulticastTable& table) {
  std::vector<std::string> found;
  for (const auto& [address, entries] : table.nodes()) found.push_back(address);
  return found;
}

TEST(MulticastTable, is_empty_at_first) {
  EXPECT_THAT(MulticastTable().nodes(), IsEmpty());
}

TEST(MulticastTable, nodes_stand_in_the_order_in_which_they_were_declared) {
  MulticastTable table;
  for (const char* address : {"b", "a", "c"}) table.declare(address);
  for (const char* address : {"c", "a", "b"}) table.store(address, kOneEntry);
  EXPECT_THAT(addresses(table), ElementsAre("b", "a", "c"));
}

TEST(MulticastTable, node_that_was_only_declared_is_not_there) {
  MulticastTable table;
  table.declare("a");
  table.declare("b");
  table.store("b", kOneEntry);
  EXPECT_THAT(addresses(table), ElementsAre("b"));
}

TEST(MulticastTable, node_without_entries_is_there) {
  MulticastTable table;
  table.store("a", {});
  EXPECT_THAT(table.nodes(), ElementsAre(Pair("a", IsEmpty())));
}

TEST(MulticastTable, node_that_nobody_declared_stands_behind_the_others) {
  MulticastTable table;
  table.declare("b");
  table.store("a", kOneEntry);
  table.store("b", kOneEntry);
  EXPECT_THAT(addresses(table), ElementsAre("b", "a"));
}

TEST(MulticastTable, another_store_replaces_all_entries_of_the_node) {
  MulticastTable table;
  table.store("a", {{0, {{"rif", "0x1"}}}, {1, {}}});
  table.store("b", kOneEntry);
  table.store("a", {{0, {{"mdt_handle", "12"}}}});
  EXPECT_THAT(table.nodes(),
              ElementsAre(Pair("a", ElementsAre(Pair(0U, ElementsAre(Pair("mdt_handle", "12"))))),
                          Pair("b", kOneEntry)));
}

TEST(MulticastTable, declaring_a_node_again_keeps_its_entries) {
  MulticastTable table;
  table.store("a", kOneEntry);
  table.declare("a");
  EXPECT_THAT(table.nodes(), ElementsAre(Pair("a", kOneEntry)));
}

TEST(MulticastTable, workers_store_and_read_at_the_same_time) {
  MulticastTable table;
  std::vector<std::thread> workers;
  for (const char* address : {"a", "b", "c", "d"}) {
    workers.emplace_back([&table, address] {
      for (int round = 0; round < 200; ++round) {
        table.store(address, kOneEntry);
        const MulticastTable::Nodes nodes = table.nodes();
        const MulticastEntries* const own = find_node(nodes, address);
        EXPECT_TRUE(own != nullptr && *own == kOneEntry);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  EXPECT_THAT(table.nodes(), SizeIs(4));
}

TEST(FindNode, compares_the_whole_address) {
  const MulticastTable::Nodes nodes = {{"192.0.0.10", {}}, {"192.0.0.1", kOneEntry}};
  ASSERT_NE(find_node(nodes, "192.0.0.1"), nullptr);
  EXPECT_EQ(*find_node(nodes, "192.0.0.1"), kOneEntry);
  EXPECT_EQ(find_node(nodes, "192.0.0"), nullptr);
}

TEST(MulticastRendering, of_nothing) {
  EXPECT_EQ(render(MulticastTable::Nodes{}), "{}\n");
}

TEST(MulticastRendering, of_a_node_without_entries) {
  EXPECT_EQ(render({{"a", {}}}), "{\"a\": {}}\n");
}

TEST(MulticastRendering, nodes_by_address_and_fields_by_name) {
  EXPECT_EQ(render({{"b", kOneEntry}, {"a", {{0, {{"rif", "0x2"}, {"mdt_handle", "1f"}}}}}}),
            "{\"a\": {\"0\": {\"mdt_handle\": \"1f\", \"rif\": \"0x2\"}}, "
            "\"b\": {\"0\": {\"rif\": \"0x1\"}}}\n");
}

TEST(MulticastRendering, entries_by_number) {
  MulticastEntries entries;
  for (const std::uint32_t number : {10U, 2U, 0U}) entries[number];
  EXPECT_EQ(render({{"a", entries}}), "{\"a\": {\"0\": {}, \"2\": {}, \"10\": {}}}\n");
}

}  // namespace
}  // namespace zorbec
