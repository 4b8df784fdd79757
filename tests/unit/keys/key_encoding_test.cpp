#include "keys/key_encoding.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/unit/support/rows.h"

namespace zorbec::unit {
namespace {

struct KeyCase : Row {
  // In decimal, since some are wider than any built-in number.
  const char* agr;
  const char* l2;
  const char* rif_lif;
  const char* ssp;
  const char* key;
};

const KeyCase kKeyCases[] = {
    {{"all_four_zero"}, "0", "0", "0", "0", "0x0"},
    {{"aggregate_flag_alone"}, "1", "0", "0", "0", "0x80000000"},
    {{"layer_2_flag_port_and_id"}, "0", "1", "5", "2", "0x40020005"},
    {{"every_field_full"}, "1", "1", "65535", "16383", "0xffffffff"},
    {{"id_7"}, "0", "0", "7", "0", "0x7"},
    {{"id_65536_more_gives_the_same_key"}, "0", "0", "65543", "0", "0x7"},
    {{"id_beyond_64_bits_is_masked"}, "0", "0", "18446744073709551625", "0", "0x9"},
    {{"id_minus_1_is_masked_to_65535"}, "0", "0", "-1", "0", "0xffff"},
    {{"id_minus_65536_is_masked_to_0"}, "0", "0", "-65536", "0", "0x0"},
    {{"negative_id_beyond_64_bits"}, "0", "0", "-18446744073709551617", "0", "0xffff"},
    {{"port_16384_sets_the_layer_2_bit"}, "0", "0", "0", "16384", "0x40000000"},
    {{"port_16384_and_layer_2_are_ored"}, "0", "1", "0", "16384", "0x40000000"},
    {{"port_32768_sets_the_aggregate_bit"}, "0", "0", "0", "32768", "0x80000000"},
    {{"port_65536_reaches_bit_32"}, "0", "0", "0", "65536", "0x100000000"},
    {{"port_of_48_bits_fills_64"}, "0", "0", "1", "281474976710655", "0xffffffffffff0001"},
    {{"port_of_49_bits"}, "0", "0", "1", "281474976710656", "0x10000000000000001"},
    {{"port_beyond_64_bits"}, "0", "0", "5", "18446744073709551616", "0x100000000000000000005"},
    {{"port_beyond_64_bits_and_both_flags"},
     "1",
     "1",
     "5",
     "18446744073709551616",
     "0x1000000000000c0000005"},
    {{"aggregate_2_is_bit_32"}, "2", "0", "0", "0", "0x100000000"},
    {{"layer_2_flag_2_is_bit_31"}, "0", "2", "0", "0", "0x80000000"},
    {{"layer_2_flag_beyond_64_bits"},
     "0",
     "18446744073709551616",
     "0",
     "0",
     "0x400000000000000000000000"},
    {{"negative_port_gives_a_minus_sign"}, "0", "0", "0", "-1", "-0x10000"},
    {{"negative_port_and_id_are_ored"}, "0", "0", "5", "-1", "-0xfffb"},
    {{"negative_aggregate"}, "-1", "0", "0", "0", "-0x80000000"},
    {{"negative_layer_2_flag_hides_the_aggregate_bit"}, "1", "-1", "0", "0", "-0x40000000"},
};

class PmdbKeyValue : public ::testing::TestWithParam<KeyCase> {};

TEST_P(PmdbKeyValue, is_the_key) {
  const auto number = [](const char* text) { return Integer::from_decimal(text).value(); };
  const KeyCase& row = GetParam();
  EXPECT_EQ(
      get_pmdb_key_value(number(row.agr), number(row.l2), number(row.rif_lif), number(row.ssp))
          .hexadecimal(),
      row.key);
}

INSTANTIATE_TEST_SUITE_P(Keys, PmdbKeyValue, ::testing::ValuesIn(kKeyCases), row_name<KeyCase>);

struct KeyTextCase : Row {
  const char* text;
  const char* number;  // in decimal; null if the text is no key
};

const KeyTextCase kKeyTextCases[] = {
    {{"key_text_form"}, "0x40020005", "1073872901"},
    {{"leading_zeros_are_stripped"}, "0x00ab", "171"},
    {{"any_mix_of_leading_0_and_x_is_stripped"}, "x00xx0f", "15"},
    {{"no_prefix"}, "ab", "171"},
    {{"upper_case_digits"}, "0xAB", "171"},
    {{"zeros_inside_stay"}, "0x100", "256"},
    {{"64_bits"}, "0xffffffffffffffff", "18446744073709551615"},
    {{"65_bits"}, "0x10000000000000000", "18446744073709551616"},
    {{"minus_sign"}, "-0x10", "-16"},
    {{"minus_sign_behind_the_prefix"}, "0x-10", "-16"},
    {{"zero_leaves_no_digits"}, "0x0", nullptr},
    {{"prefix_alone"}, "0x", nullptr},
    {{"nothing"}, "", nullptr},
    {{"no_hexadecimal_digits"}, "0xgg", nullptr},
    {{"text_behind_the_digits"}, "0xabz", nullptr},
    {{"x_behind_the_digits"}, "0xa0x", nullptr},
    {{"blank_behind_the_digits"}, "0xab ", nullptr},
    {{"fraction"}, "0x1.8", nullptr},
};

class KeyText : public ::testing::TestWithParam<KeyTextCase> {};

TEST_P(KeyText, is_read) {
  const KeyTextCase& row = GetParam();
  const std::optional<Integer> key = parse_key_text(row.text);
  ASSERT_EQ(key.has_value(), row.number != nullptr);
  if (key) {
    EXPECT_EQ(key->decimal(), row.number);
  }
}

INSTANTIATE_TEST_SUITE_P(Texts, KeyText, ::testing::ValuesIn(kKeyTextCases), row_name<KeyTextCase>);

}  // namespace
}  // namespace zorbec::unit
