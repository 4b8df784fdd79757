#include "host/explain/key_words.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

Integer key(std::string_view hexadecimal) {
  return *Integer::from_hexadecimal(hexadecimal);
}

struct FieldsCase : unit::Row {
  std::string key;
  bool aggregate;
  bool layer2;
  unsigned port;
  unsigned rif_lif;
  bool beyond_bit_31;
};

class Fields : public ::testing::TestWithParam<FieldsCase> {};

TEST_P(Fields, are_read_from_the_key) {
  const DecodedKey fields = decode_key(key(GetParam().key));
  EXPECT_EQ(fields.aggregate, GetParam().aggregate);
  EXPECT_EQ(fields.layer2, GetParam().layer2);
  EXPECT_EQ(fields.port, GetParam().port);
  EXPECT_EQ(fields.rif_lif, GetParam().rif_lif);
  EXPECT_EQ(fields.beyond_bit_31, GetParam().beyond_bit_31);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, Fields,
    ::testing::Values(FieldsCase{"zero", "0x0", false, false, 0, 0, false},
                      FieldsCase{"layer_2_at_a_port", "0x40020005", false, true, 2, 5, false},
                      FieldsCase{"member_key", "0x83050000", true, false, 0x305, 0, false},
                      FieldsCase{"all_bits", "0xffffffff", true, true, 0x3fff, 0xffff, false},
                      FieldsCase{"bit_32", "0x100000000", false, false, 0, 0, true},
                      FieldsCase{"beyond_64_bits", "0x1000000000000000040020005", false, true, 2, 5,
                                 true},
                      FieldsCase{"negative", "-0x1", true, true, 0x3fff, 0xffff, true}),
    unit::row_name<FieldsCase>);

struct TextCase : unit::Row {
  std::string text;
  std::optional<std::string> key;  // in hexadecimal
};

class KeyText : public ::testing::TestWithParam<TextCase> {};

TEST_P(KeyText, is_read) {
  const std::optional<Integer> read = read_key(GetParam().text);
  EXPECT_EQ(read ? std::optional(read->hexadecimal()) : std::nullopt, GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, KeyText,
    ::testing::Values(TextCase{"decimal", "118", "0x76"}, TextCase{"hexadecimal", "0x76", "0x76"},
                      TextCase{"upper_case", "0X7F", "0x7f"},
                      TextCase{"beyond_64_bits", "36893488147419103232", "0x20000000000000000"},
                      TextCase{"leading_zeros", "0x0076", "0x76"},
                      TextCase{"without_digits", "0x", std::nullopt},
                      TextCase{"empty", "", std::nullopt},
                      TextCase{"twice_hexadecimal", "0x0x76", std::nullopt},
                      TextCase{"sign", "0x-76", std::nullopt},
                      TextCase{"hexadecimal_without_0x", "7f", std::nullopt},
                      TextCase{"blank", "118 ", std::nullopt},
                      TextCase{"too_long", std::string(5000, '1'), std::nullopt}),
    unit::row_name<TextCase>);

struct RuleCase : unit::Row {
  std::string key;
  KeyPlace place;
  std::string words;
};

class Rule : public ::testing::TestWithParam<RuleCase> {};

TEST_P(Rule, is_told_in_words) {
  EXPECT_EQ(rule_words(key(GetParam().key), GetParam().place), GetParam().words);
}

using enum InterfaceClass;

INSTANTIATE_TEST_SUITE_P(
    Classes, Rule,
    ::testing::Values(
        RuleCase{"own_handle", "0x3c0005e8", {kBundle, 0, false, 0}, "the interface's own handle"},
        RuleCase{
            "routed_port_rif", "0x5", {kPhysical, 1, false, 0}, "routed interface key from rif 5"},
        RuleCase{"routed_port_lif",
                 "0x40020009",
                 {kPhysical, 2, false, 0},
                 "layer-2 key from lif 9 at port 2"},
        RuleCase{"routed_port_ssp",
                 "0x30000",
                 {kPhysical, 3, false, 0},
                 "source system port key, port 3"},
        RuleCase{"layer_2_port_ssp",
                 "0x30000",
                 {kPhysical, 1, true, 0},
                 "source system port key, port 3"},
        RuleCase{"layer_2_port_lif",
                 "0x40020009",
                 {kPhysical, 2, true, 0},
                 "layer-2 key from lif 9 at port 2"},
        RuleCase{"layer_2_port_layer_2_ssp",
                 "0x40030000",
                 {kPhysical, 3, true, 0},
                 "layer-2 source system port key, port 3"},
        RuleCase{"routed_subif",
                 "0x5",
                 {kPhysicalSubif, 1, false, 0},
                 "routed interface key from rif 5"},
        RuleCase{"routed_subif_lif",
                 "0x40020009",
                 {kPhysicalSubif, 2, false, 0},
                 "layer-2 key from lif 9 at port 2"},
        RuleCase{"layer_2_subif",
                 "0x40020009",
                 {kPhysicalSubif, 1, true, 0},
                 "layer-2 key from lif 9 at port 2"},
        RuleCase{
            "routed_bundle", "0x46", {kBundle, 1, false, 0}, "routed interface key from rif 70"},
        RuleCase{"layer_2_bundle",
                 "0x40000047",
                 {kBundle, 1, true, 0},
                 "layer-2 key from lif 71 at port 0"},
        RuleCase{"member_rif",
                 "0x5",
                 {kBundle, 2, false, 0},
                 "routed interface key from rif 5, for a member port"},
        RuleCase{"member_lif",
                 "0x40020009",
                 {kBundle, 3, false, 0},
                 "layer-2 key from lif 9 at port 2, for a member port"},
        RuleCase{"member_ssp",
                 "0x30000",
                 {kBundle, 4, false, 0},
                 "source system port key, port 3, for a member port"},
        RuleCase{
            "member_key", "0x83050000", {kBundle, 5, false, 0}, "member key: memid 3, lagid 5"},
        RuleCase{"member_key_of_scale_1024",
                 "0x8c050000",
                 {kBundle, 5, false, 2},
                 "member key: memid 3, lagid 5"},
        RuleCase{"member_key_beyond_bit_31",
                 "0xc80050000",
                 {kBundle, 5, false, 10},
                 "member key: memid 3, lagid 5"},
        RuleCase{"member_key_beyond_64_bits",
                 "0x1000000000000000080000000",
                 {kBundle, 5, false, 10},
                 "member key"},
        RuleCase{"bundle_subif_of_a_member",
                 "0xd2",
                 {kBundleSubif, 2, false, 0},
                 "routed interface key from rif 210"},
        RuleCase{"layer_2_bundle_subif",
                 "0x400000d3",
                 {kBundleSubif, 1, true, 0},
                 "layer-2 key from lif 211 at port 0"},
        RuleCase{"bvi_lif", "0x40020009", {kBvi, 1, false, 0}, "layer-2 key from lif 9 at port 2"},
        RuleCase{"bvi_rif", "0x5", {kBvi, 2, false, 0}, "routed interface key from rif 5"},
        RuleCase{"gre_erif",
                 "0x10005",
                 {kGre, 1, false, 0},
                 "encapsulation RIF of the tunnel (erif), unchanged"},
        RuleCase{"gre_drif",
                 "0x20006",
                 {kGre, 2, false, 0},
                 "decapsulation RIF of the tunnel (drif), unchanged"}),
    unit::row_name<RuleCase>);

TEST(KeyDifference, names_each_field_that_differs) {
  const DecodedKey asked = decode_key(key("0x40020005"));
  EXPECT_EQ(differing_fields(asked, asked), 0U);
  const DecodedKey other = decode_key(key("0x80030005"));
  EXPECT_EQ(differing_fields(asked, other), 3U);
  EXPECT_EQ(difference_words(asked, other),
            "aggregate flag 1 instead of 0, layer-2 flag 0 instead of 1, "
            "source port 3 instead of 2");
  const DecodedKey wide = decode_key(key("0x140020006"));
  EXPECT_EQ(differing_fields(asked, wide), 2U);
  EXPECT_EQ(difference_words(asked, wide), "RIF or LIF 6 instead of 5, bits above bit 31");
}

}  // namespace
}  // namespace zorbec
