#include "verify/expected_index.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/unit/support/tables.h"
#include "verify/key_matching.h"

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
    EnumArray<InterfaceClass, const InterfaceTables*> tables;
    for (const InterfaceTables*& table : tables) table = &others;
    tables[InterfaceClass::kPhysical] = &ports;
    return std::make_shared<const ExpectedIndex>(tables);
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

TEST_F(IndexedPorts, interface_without_keys_stands_itself_among_the_keys_of_others) {
  load("0", R"({"1": {}, "9": {}, "10": {}})", {{1U, 70U}});
  load("3", R"({"2": {}})", {{2U}});
  ports.find("0")->additions[2].key_list = KeyList{10U};
  const auto made = index();
  EXPECT_TRUE(ports_of(*made).is_complete);
  EXPECT_THAT(numbers(*made), ElementsAre(0, 1, ExpectedIndex::kNoKey, 3, 4));
  const ExpectedIndex::Expected& itself = ports_of(*made).keys[2];
  EXPECT_EQ(made->owner(itself.owner).first, "0");
  EXPECT_EQ(itself.entry, 1U);
  EXPECT_EQ(made->find(9), 2U);  // its handle will be looked for
}

TEST_F(IndexedPorts, knows_keys_of_32_bits_in_the_order_of_their_texts) {
  load("0", R"({"1": {}})",
       {{2U, 19U, 1U, 100U, 10U, 4294967295U, 0x100000000U, 2U, 1000000000U, 99U}});
  const auto made = index();
  std::vector<std::uint64_t> keys;
  for (const ExpectedIndex::Named& key : made->by_name()) keys.push_back(made->key(key.number));
  EXPECT_THAT(keys, ElementsAre(1, 10, 100, 1000000000, 19, 2, 4294967295, 99));
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
  const auto made = index();
  KeyMatching matching(pmdb, *made);
  EXPECT_TRUE(matching.can_claim());
  EXPECT_TRUE(matching.claim(0));
  EXPECT_FALSE(matching.claim(1));
  EXPECT_TRUE(pmdb.is_claimed(0));
  EXPECT_FALSE(pmdb.is_claimed(1));
}

// Keys next to others of which the text or the number is nearly the same, and those that take more
// than 32 bits.
TEST_F(IndexedPorts, claims_each_key_that_is_there_and_no_other) {
  const std::vector<std::uint64_t> expected = {
      7,           70,        700,        8,  10, 1,  4294967294, 4294967295,           4294967296,
      42949672950, 999999999, 1000000000, 99, 77, 71, 69,         18446744073709551615U};
  KeyList keys;
  for (const std::uint64_t key : expected) keys.emplace_back(key);
  load("0", R"({"1": {}})", {keys});
  const auto made = index();
  // Each of them alone is not there; and of each there is one that it could be taken for.
  for (const std::uint64_t absent : expected) {
    std::string dump = R"({"00": {}, "0)" + std::to_string(absent) + R"(": {}, "x": {}, "": {})";
    for (const std::uint64_t key : expected) {
      if (key != absent) dump += ", \"" + std::to_string(key) + "\": {}";
    }
    PmdbTable pmdb = pmdb_table(dump + "}");
    KeyMatching matching(pmdb, *made);
    for (std::uint32_t number = 0; number < made->size(); ++number) {
      EXPECT_EQ(matching.claim(number), made->key(number) != absent) << absent;
    }
    EXPECT_FALSE(pmdb.is_claimed(1)) << absent;
  }
}

TEST_F(IndexedPorts, claims_keys_of_many_digits_and_orders) {
  KeyList keys;
  std::string dump = "{";
  for (std::uint32_t i = 0; i < 3000; ++i) {
    const std::uint32_t key = (i * 2654435761U) >> i % 29 | 1U;
    keys.emplace_back(key);
    const std::string entry = "\"" + std::to_string(key) + "\":{}";
    if (key % 3 != 0 && dump.find(entry) == std::string::npos) dump += entry + ",";
  }
  dump.back() = '}';
  load("0", R"({"1": {}})", {keys});
  const auto made = index();
  PmdbTable pmdb = pmdb_table(dump);
  KeyMatching matching(pmdb, *made);
  for (std::uint32_t number = 0; number < made->size(); ++number) {
    EXPECT_EQ(matching.claim(number), made->key(number) % 3 != 0) << made->key(number);
  }
}

TEST_F(IndexedPorts, claims_nothing_by_number_where_an_entry_is_no_record) {
  load("0", R"({"1": {}})", {{70U}});
  PmdbTable odd = pmdb_table(R"({"70": {}, "5": 1})");
  const auto made = index();
  EXPECT_FALSE(KeyMatching(odd, *made).can_claim());
  PmdbTable list = pmdb_table("[]");
  EXPECT_FALSE(KeyMatching(list, *made).can_claim());
}

TEST_F(IndexedPorts, finds_the_same_entries_with_and_without_it) {
  load("0", R"({"1": {}})", {{70U, 80U}});
  PmdbTable pmdb = pmdb_table(R"({"70": {}, "5": {}, "070": {}})");
  const auto made = index();
  const KeyMatching matching(pmdb, *made);
  const auto expect_found = [](const auto& keys) {
    EXPECT_EQ(keys.find(Integer(70)), 0U);
    EXPECT_EQ(keys.find(Integer(5)), 1U);
    EXPECT_EQ(keys.find(Integer(80)), std::nullopt);
    EXPECT_EQ(keys.find("070"), 2U);
    EXPECT_EQ(keys.find("80"), std::nullopt);
  };
  expect_found(pmdb);
  expect_found(matching);
}

}  // namespace
}  // namespace zorbec
