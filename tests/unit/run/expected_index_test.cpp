#include "run/expected_index.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using unit::interface_table;
using unit::pmdb_table;

// Six tables of which only the ports' are filled, each record with the keys given for it.
class IndexedPorts : public ::testing::Test {
 protected:
  void load(const std::string& node, const std::string& text, const std::vector<KeyList>& keys) {
    InterfaceTable& table = ports.set(node, interface_table(text));
    for (std::size_t i = 0; i < keys.size(); ++i) table.additions[i].key_list = keys[i];
  }
  std::shared_ptr<const ExpectedIndex> index() const {
    return std::make_shared<const ExpectedIndex>(
        std::array<const InterfaceTables*, 6>{&ports, &others, &others, &others, &others, &others});
  }
  static const ExpectedIndex::Class& ports_of(const ExpectedIndex& index) {
    return index.of(InterfaceClass::kPhysical);
  }

  static std::vector<std::uint32_t> numbers(const ExpectedIndex& index) {
    std::vector<std::uint32_t> numbers;
    for (const ExpectedIndex::Expected& key : ports_of(index).keys) numbers.push_back(key.number);
    return numbers;
  }

  InterfaceTables ports;
  InterfaceTables others;
};

TEST_F(IndexedPorts, numbers_each_key_once_and_counts_it_for_each_interface) {
  load("0", R"({"1": {}, "2": {}})", {{1U, 70U, 80U}, {2U, 80U, 80U}});
  load("3", R"({"1": {}})", {{1U, 70U}});
  const auto made = index();
  EXPECT_EQ(made->size(), 4U);
  EXPECT_TRUE(ports_of(*made).is_complete);
  EXPECT_THAT(numbers(*made), ElementsAre(0, 1, 2, 3, 2, 2, 0, 1));
  EXPECT_EQ(made->find(80), 2U);
  EXPECT_EQ(made->find(90), std::nullopt);
}

TEST_F(IndexedPorts, tells_of_each_expected_key_whose_it_is) {
  load("0", R"({"1": {}, "2": {}})", {{1U}, {2U}});
  load("3", R"({"7": {}, "8": {}})", {{}, {70U}});
  const auto made = index();
  const ExpectedIndex::Expected& last = ports_of(*made).keys.back();
  EXPECT_EQ(made->key(last.number), 70U);
  const auto& [node, table] = made->owner(last.owner);
  EXPECT_EQ(node, "3");
  EXPECT_EQ(table->document.name(last.entry), "8");
}

TEST_F(IndexedPorts, class_without_interfaces_is_complete_and_expects_nothing) {
  const auto made = index();
  EXPECT_TRUE(ports_of(*made).is_complete);
  EXPECT_THAT(ports_of(*made).keys, IsEmpty());
}

TEST_F(IndexedPorts, interface_without_keys_makes_its_class_incomplete_and_its_handle_known) {
  load("0", R"({"1": {}, "9": {}})", {{1U, 70U}});
  const auto made = index();
  EXPECT_FALSE(ports_of(*made).is_complete);
  EXPECT_NE(made->find(9), std::nullopt);
}

TEST_F(IndexedPorts, keys_that_are_no_plain_words_make_the_class_incomplete) {
  load("0", R"({"1": {}})", {{0U}});
  EXPECT_FALSE(ports_of(*index()).is_complete);
  load("0", R"({"1": {}})", {{*Integer::from_decimal("18446744073709551616")}});
  EXPECT_FALSE(ports_of(*index()).is_complete);
}

TEST_F(IndexedPorts, dump_that_is_no_table_makes_the_class_incomplete) {
  load("0", "[]", {});
  EXPECT_FALSE(ports_of(*index()).is_complete);
}

TEST_F(IndexedPorts, claims_the_entry_of_a_key_that_is_there) {
  load("0", R"({"1": {}})", {{70U, 80U}});
  PmdbTable pmdb = pmdb_table(R"({"70": {}, "5": {}})");
  EXPECT_FALSE(pmdb.can_claim());
  pmdb.match(index());
  EXPECT_TRUE(pmdb.can_claim());
  EXPECT_TRUE(pmdb.claim(0));
  EXPECT_FALSE(pmdb.claim(1));
  EXPECT_TRUE(pmdb.is_claimed(0));
  EXPECT_FALSE(pmdb.is_claimed(1));
}

TEST_F(IndexedPorts, claims_nothing_by_number_where_an_entry_is_no_record) {
  load("0", R"({"1": {}})", {{70U}});
  PmdbTable odd = pmdb_table(R"({"70": {}, "5": 1})");
  odd.match(index());
  EXPECT_FALSE(odd.can_claim());
}

TEST_F(IndexedPorts, finds_the_same_entries_with_and_without_it) {
  load("0", R"({"1": {}})", {{70U, 80U}});
  PmdbTable pmdb = pmdb_table(R"({"70": {}, "5": {}, "070": {}})");
  for (const bool is_matched : {false, true}) {
    if (is_matched) pmdb.match(index());
    EXPECT_EQ(pmdb.find(Integer(70)), 0U);
    EXPECT_EQ(pmdb.find(Integer(5)), 1U);
    EXPECT_EQ(pmdb.find(Integer(80)), std::nullopt);
    EXPECT_EQ(pmdb.find("070"), 2U);
    EXPECT_EQ(pmdb.find("80"), std::nullopt);
  }
  pmdb.forget_match();
  EXPECT_EQ(pmdb.find(Integer(70)), 0U);
}

}  // namespace
}  // namespace zorbec
