#include "keys/dump_content.h"

#include <gmock/gmock.h>

#include <optional>

#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"

namespace zorbec::unit {
namespace {

using ::testing::HasSubstr;

struct ContentCase : Row {
  std::optional<InterfaceClass> of;  // empty: programmed keys
  const char* dump;
  std::size_t entries;
  std::size_t odd;
  const char* first_odd = "";
};

constexpr std::optional<InterfaceClass> kKeys = std::nullopt;
constexpr auto kPort = InterfaceClass::kPhysical;
constexpr auto kPortSubif = InterfaceClass::kPhysicalSubif;
constexpr auto kBundle = InterfaceClass::kBundle;
constexpr auto kBundleSubif = InterfaceClass::kBundleSubif;
constexpr auto kBvi = InterfaceClass::kBvi;
constexpr auto kGre = InterfaceClass::kGre;

const ContentCase kContentCases[] = {
    {{"no_interface"}, kPort, "{}", 0, 0},
    {{"port_as_tools_write_it"},
     kPort,
     R"({"8": {"rif": 1, "lif": 2, "ssp": "3", "slot": 0, "is_l2": 0, "is_member": true}})",
     1,
     0},
    {{"rif_as_text"}, kPort, R"({"8": {"rif": "1"}})", 1, 1, "has rif"},
    {{"rif_as_float"}, kPortSubif, R"({"8": {"rif": 1.0}})", 1, 1, "has rif"},
    {{"lif_is_null"}, kBundle, R"({"8": {"lif": null}})", 1, 1, "has lif"},
    {{"slot_is_no_number"}, kBvi, R"({"8": {"slot": "x"}})", 1, 1, "has slot"},
    {{"ssp_with_leading_zero"}, kBvi, R"({"8": {"ssp": "07"}})", 1, 1, "has ssp"},
    {{"ssp_is_a_list"}, kBundleSubif, R"({"8": {"ssp": [1]}})", 1, 1, "has ssp"},
    {{"is_l2_of_2"}, kBundle, R"({"8": {"is_l2": 2}})", 1, 1, "has is_l2"},
    {{"is_l2_is_not_read_of_a_bvi"}, kBvi, R"({"8": {"is_l2": 2}})", 1, 0},
    {{"is_member_as_text"}, kPort, R"({"8": {"is_member": "1"}})", 1, 1, "has is_member"},
    {{"is_member_is_read_of_ports_only"}, kBundle, R"({"8": {"is_member": "1"}})", 1, 0},
    {{"memid_is_an_object"}, kPort, R"({"8": {"memid": {}}})", 1, 1, "has memid"},
    {{"parent_is_negative"}, kPortSubif, R"({"8": {"parent_ifh": "-1"}})", 1, 1, "has parent_ifh"},
    {{"tunnel_has_no_rif_to_look_at"}, kGre, R"({"8": {"rif": "x", "erif": 1}})", 1, 0},
    {{"erif_is_false"}, kGre, R"({"8": {"erif": false}})", 1, 1, "has erif"},
    {{"key_list_in_dump"}, kBvi, R"({"8": {"key_list": []}})", 1, 1, "has key_list"},
    {{"subiflist_in_dump"}, kBundle, R"({"8": {"subiflist": []}})", 1, 1, "has subiflist"},
    {{"record_is_a_list"}, kPort, R"({"8": []})", 1, 1, "interface \"8\" is"},
    {{"handle_is_a_word"}, kPort, R"({"abc": {}})", 1, 1, "interface \"abc\" is no plain decimal"},
    {{"handle_with_leading_zeros"}, kPort, R"({"007": {}})", 1, 1, "\"007\""},
    {{"handle_is_empty"}, kPort, R"({"": {}})", 1, 1, "\"\""},
    {{"handle_is_zero"}, kPort, R"({"0": {}})", 1, 0},
    {{"first_of_several"}, kPort, R"({"1": {}, "2": 5, "x": {}, "3": {}})", 4, 2, "\"2\""},
    {{"key_as_tools_write_it"}, kKeys, R"({"1073872901": {"flags": 1}})", 1, 0},
    {{"key_is_no_record"}, kKeys, R"({"5": 1})", 1, 1, "key \"5\" is"},
    {{"key_is_marked"}, kKeys, R"({"5": {"visited": 0}})", 1, 1, "has visited"},
    {{"key_in_hexadecimal"}, kKeys, R"({"0x5": {}})", 1, 1, "\"0x5\""},
    {{"key_with_sign"}, kKeys, R"({"-5": {}})", 1, 1, "\"-5\""},
    {{"key_beyond_64_bits"}, kKeys, R"({"340282366920938463463374607431768211456": {}})", 1, 0},
};

DumpContent content_of(const char* dump, std::optional<InterfaceClass> of) {
  return of ? look_into(interface_table(dump), of) : look_into(pmdb_table(dump), of);
}

class Content : public ::testing::TestWithParam<ContentCase> {};

TEST_P(Content, counts_entries_and_what_is_odd_of_them) {
  const ContentCase& row = GetParam();
  const DumpContent content = content_of(row.dump, row.of);
  EXPECT_TRUE(content.is_table);
  EXPECT_EQ(content.entries, row.entries);
  EXPECT_EQ(content.odd_entries, row.odd);
  EXPECT_THAT(content.first_odd, HasSubstr(row.first_odd));
  EXPECT_EQ(content.first_odd.empty(), row.odd == 0);
}

INSTANTIATE_TEST_SUITE_P(Dump, Content, ::testing::ValuesIn(kContentCases), row_name<ContentCase>);

TEST(Content, what_is_no_object_is_no_table) {
  for (const char* const dump : {"[]", "[1]", "7", "\"{}\"", "null", "true"}) {
    EXPECT_FALSE(content_of(dump, kPort).is_table) << dump;
    EXPECT_FALSE(content_of(dump, kKeys).is_table) << dump;
  }
}

}  // namespace
}  // namespace zorbec::unit
