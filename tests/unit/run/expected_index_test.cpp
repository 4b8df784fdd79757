#include "run/expected_index.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

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

  InterfaceTables ports;
  InterfaceTables others;
};

TEST_F(IndexedPorts, numbers_each_key_once_and_counts_it_for_each_interface) {
  load("0", R"({"1": {}, "2": {}})", {{1U, 70U, 80U}, {2U, 80U, 80U}});
  load("3", R"({"1": {}})", {{1U, 70U}});
  const auto made = index();
  EXPECT_EQ(made->size(), 4U);
  EXPECT_TRUE(ports_of(*made).is_complete);
  EXPECT_EQ(ports_of(*made).expected, 8U);
  EXPECT_THAT(ports_of(*made).numbers, ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(made->find(80), 2U);
  EXPECT_EQ(made->find(90), std::nullopt);
}

TEST_F(IndexedPorts, class_without_interfaces_is_complete_and_expects_nothing) {
  const auto made = index();
  EXPECT_TRUE(ports_of(*made).is_complete);
  EXPECT_THAT(ports_of(*made).numbers, IsEmpty());
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

TEST_F(IndexedPorts, claims_all_keys_of_a_class_or_none) {
  load("0", R"({"1": {}})", {{70U, 80U}});
  PmdbTable whole = pmdb_table(R"({"80": {}, "70": {}, "5": {}})");
  whole.match(index());
  EXPECT_TRUE(whole.claim_all(ports_of(*index()).numbers));
  EXPECT_TRUE(whole.is_claimed(0));
  EXPECT_TRUE(whole.is_claimed(1));
  EXPECT_FALSE(whole.is_claimed(2));

  PmdbTable lacking = pmdb_table(R"({"70": {}, "5": {}})");
  lacking.match(index());
  EXPECT_FALSE(lacking.claim_all(ports_of(*index()).numbers));
  EXPECT_FALSE(lacking.is_claimed(0));
}

TEST_F(IndexedPorts, claims_nothing_at_once_where_an_entry_is_no_record) {
  load("0", R"({"1": {}})", {{70U}});
  PmdbTable odd = pmdb_table(R"({"70": {}, "5": 1})");
  odd.match(index());
  EXPECT_FALSE(odd.claim_all(ports_of(*index()).numbers));
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
