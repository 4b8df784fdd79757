#include "base/integer.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

const std::string kTenToForty = "1" + std::string(40, '0');

// The number in decimal; "none" if the text writes none.
std::string decimal_or_none(const std::optional<Integer>& number) {
  return number ? number->decimal() : "none";
}

Integer number(std::string_view decimal) {
  return Integer::from_decimal(decimal).value();
}

struct TextCase : unit::Row {
  std::string text;
  std::string decimal;
};

class FromDecimal : public ::testing::TestWithParam<TextCase> {};

TEST_P(FromDecimal, reads) {
  EXPECT_EQ(decimal_or_none(Integer::from_decimal(GetParam().text)), GetParam().decimal);
}

INSTANTIATE_TEST_SUITE_P(
    Text, FromDecimal,
    ::testing::Values(
        TextCase{"zero", "0", "0"}, TextCase{"small", "50331976", "50331976"},
        TextCase{"two_to_63", "9223372036854775808", "9223372036854775808"},
        TextCase{"largest_word", "18446744073709551615", "18446744073709551615"},
        TextCase{"two_to_64", "18446744073709551616", "18446744073709551616"},
        TextCase{"ten_to_40", kTenToForty, kTenToForty}, TextCase{"negative", "-5", "-5"},
        TextCase{"minus_two_to_64", "-18446744073709551616", "-18446744073709551616"},
        TextCase{"minus_zero", "-0", "0"}, TextCase{"leading_zeros", "007", "7"},
        TextCase{"leading_zeros_are_not_octal", "0018446744073709551617", "18446744073709551617"},
        TextCase{"negative_leading_zeros", "-0010", "-10"},
        TextCase{"most_digits", std::string(4000, '9'), std::string(4000, '9')},
        TextCase{"most_digits_negative", "-" + std::string(4000, '9'),
                 "-" + std::string(4000, '9')},
        TextCase{"too_many_digits", std::string(4001, '9'), "none"}, TextCase{"empty", "", "none"},
        TextCase{"only_a_minus_sign", "-", "none"}, TextCase{"two_minus_signs", "--1", "none"},
        TextCase{"plus_sign", "+1", "none"}, TextCase{"blank_before", " 1", "none"},
        TextCase{"blank_behind", "1 ", "none"}, TextCase{"letters_behind", "12abc", "none"},
        TextCase{"letters_behind_a_wide_number", kTenToForty + "x", "none"},
        TextCase{"hexadecimal_prefix", "0x1", "none"}, TextCase{"fraction", "1.0", "none"},
        TextCase{"exponent", "1e3", "none"},
        TextCase{"nul_byte_behind", std::string("1\0", 2), "none"}),
    unit::row_name<TextCase>);

class FromHexadecimal : public ::testing::TestWithParam<TextCase> {};

TEST_P(FromHexadecimal, reads) {
  EXPECT_EQ(decimal_or_none(Integer::from_hexadecimal(GetParam().text)), GetParam().decimal);
}

INSTANTIATE_TEST_SUITE_P(
    Text, FromHexadecimal,
    ::testing::Values(
        TextCase{"zero", "0x0", "0"}, TextCase{"key", "0x3000148", "50331976"},
        TextCase{"without_prefix", "ff", "255"}, TextCase{"capital_letters", "0xFF", "255"},
        TextCase{"leading_zeros", "0x000000000000000000ff", "255"},
        TextCase{"largest_word", "0xffffffffffffffff", "18446744073709551615"},
        TextCase{"two_to_64", "0x10000000000000000", "18446744073709551616"},
        TextCase{"negative", "-0x10", "-16"},
        TextCase{"too_many_digits", std::string(4001, 'f'), "none"}, TextCase{"empty", "", "none"},
        TextCase{"only_the_prefix", "0x", "none"}, TextCase{"capital_prefix", "0X1", "none"},
        TextCase{"two_prefixes", "0x0x1", "none"}, TextCase{"not_a_digit", "0xg", "none"},
        TextCase{"blank_before", " 0x1", "none"}),
    unit::row_name<TextCase>);

struct HexadecimalCase : unit::Row {
  std::string decimal;
  std::string hexadecimal;
  std::string in_messages;
};

class Hexadecimal : public ::testing::TestWithParam<HexadecimalCase> {};

TEST_P(Hexadecimal, is_written) {
  const Integer value = number(GetParam().decimal);
  EXPECT_EQ(value.hexadecimal(), GetParam().hexadecimal);
  EXPECT_EQ(value.message_hexadecimal(), GetParam().in_messages);
  std::string text = "key ";
  value.append_hexadecimal(text);
  EXPECT_EQ(text, "key " + GetParam().hexadecimal);
  EXPECT_TRUE(Integer::from_hexadecimal(GetParam().hexadecimal) == value);
}

INSTANTIATE_TEST_SUITE_P(
    Value, Hexadecimal,
    ::testing::Values(HexadecimalCase{"zero", "0", "0x0", "0x0"},
                      HexadecimalCase{"lower_case_without_leading_zeros", "50331976", "0x3000148",
                                      "0x3000148"},
                      HexadecimalCase{"largest_signed_word", "9223372036854775807",
                                      "0x7fffffffffffffff", "0x7fffffffffffffff"},
                      HexadecimalCase{"two_to_63_is_long", "9223372036854775808",
                                      "0x8000000000000000", "0x8000000000000000L"},
                      HexadecimalCase{"largest_word_is_long", "18446744073709551615",
                                      "0xffffffffffffffff", "0xffffffffffffffffL"},
                      HexadecimalCase{"two_to_64_is_long", "18446744073709551616",
                                      "0x10000000000000000", "0x10000000000000000L"},
                      HexadecimalCase{"negative", "-255", "-0xff", "-0xff"},
                      HexadecimalCase{"least_signed_word", "-9223372036854775808",
                                      "-0x8000000000000000", "-0x8000000000000000"},
                      HexadecimalCase{"below_the_least_signed_word_is_long", "-9223372036854775809",
                                      "-0x8000000000000001", "-0x8000000000000001L"}),
    unit::row_name<HexadecimalCase>);

struct ShiftCase : unit::Row {
  std::string value;
  unsigned bits;
  std::string hexadecimal;
};

class Shift : public ::testing::TestWithParam<ShiftCase> {};

TEST_P(Shift, loses_no_bit) {
  EXPECT_EQ((number(GetParam().value) << GetParam().bits).hexadecimal(), GetParam().hexadecimal);
}

INSTANTIATE_TEST_SUITE_P(
    Left, Shift,
    ::testing::Values(
        ShiftCase{"by_nothing", "5", 0, "0x5"}, ShiftCase{"within_the_word", "2", 15, "0x10000"},
        ShiftCase{"into_the_highest_bit", "1", 63, "0x8000000000000000"},
        ShiftCase{"just_out_of_the_word", "1", 64, "0x10000000000000000"},
        ShiftCase{"highest_bit_by_one", "9223372036854775808", 1, "0x10000000000000000"},
        ShiftCase{"all_bits_by_one", "18446744073709551615", 1, "0x1fffffffffffffffe"},
        ShiftCase{"largest_word_by_nothing", "18446744073709551615", 0, "0xffffffffffffffff"},
        ShiftCase{"zero_by_a_word", "0", 64, "0x0"}, ShiftCase{"zero_by_more", "0", 100, "0x0"},
        ShiftCase{"wide", "18446744073709551616", 4, "0x100000000000000000"},
        ShiftCase{"negative", "-1", 4, "-0x10"}),
    unit::row_name<ShiftCase>);

struct OrCase : unit::Row {
  std::string a;
  std::string b;
  std::string result;
};

class Or : public ::testing::TestWithParam<OrCase> {};

TEST_P(Or, joins_in_either_order) {
  EXPECT_EQ((number(GetParam().a) | number(GetParam().b)).decimal(), GetParam().result);
  EXPECT_EQ((number(GetParam().b) | number(GetParam().a)).decimal(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Bits, Or,
    ::testing::Values(OrCase{"words", "8", "3", "11"},
                      OrCase{"highest_bit", "9223372036854775808", "1", "9223372036854775809"},
                      OrCase{"wide_and_word", "18446744073709551616", "1", "18446744073709551617"},
                      OrCase{"wide_and_wide", "18446744073709551616", "36893488147419103232",
                             "55340232221128654848"},
                      OrCase{"all_ones", "-1", "5", "-1"}, OrCase{"negative", "-8", "3", "-5"},
                      OrCase{"negative_and_wide", "-1", "18446744073709551616", "-1"}),
    unit::row_name<OrCase>);

struct AndCase : unit::Row {
  std::string value;
  std::uint64_t mask;
  std::string result;
};

class And : public ::testing::TestWithParam<AndCase> {};

TEST_P(And, keeps_the_bits_of_the_mask) {
  EXPECT_EQ((number(GetParam().value) & GetParam().mask).decimal(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Bits, And,
    ::testing::Values(AndCase{"slot_65_modulo_64", "65", 63, "1"},
                      AndCase{"largest_word", "18446744073709551615",
                              std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
                      AndCase{"wide_above_the_mask", "18446744073709551616",
                              std::numeric_limits<std::uint64_t>::max(), "0"},
                      AndCase{"wide_within_the_mask", "18446744073709551619", 3, "3"},
                      AndCase{"minus_one_has_all_bits", "-1", 63, "63"},
                      AndCase{"minus_64", "-64", 63, "0"}, AndCase{"minus_65", "-65", 63, "63"}),
    unit::row_name<AndCase>);

struct RealCase : unit::Row {
  double value;
  std::string decimal;
};

class FromReal : public ::testing::TestWithParam<RealCase> {};

TEST_P(FromReal, drops_the_fraction) {
  EXPECT_EQ(Integer::from_real(GetParam().value).decimal(), GetParam().decimal);
}

INSTANTIATE_TEST_SUITE_P(
    Number, FromReal,
    ::testing::Values(RealCase{"whole", 5.0, "5"}, RealCase{"toward_zero", 5.99, "5"},
                      RealCase{"negative_toward_zero", -5.99, "-5"},
                      RealCase{"below_one", 0.5, "0"}, RealCase{"minus_zero", -0.5, "0"},
                      RealCase{"two_to_64", 0x1p64, "18446744073709551616"},
                      RealCase{"two_to_100", 0x1p100, "1267650600228229401496703205376"}),
    unit::row_name<RealCase>);

TEST(Integer, word_holds_what_fits_64_bits) {
  EXPECT_EQ(number("18446744073709551615").word(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(number("18446744073709551616").word(), std::nullopt);
  EXPECT_EQ(number("-1").word(), std::nullopt);
  EXPECT_EQ(Integer(-1).word(), std::nullopt);
  EXPECT_EQ(Integer(7).word(), 7U);
}

TEST(Integer, result_that_fits_a_word_again_is_one) {
  EXPECT_EQ((number("18446744073709551621") & 7U).word(), 5U);
  EXPECT_EQ((number("-1") & 63U).word(), 63U);
}

TEST(Integer, is_zero_however_it_was_made) {
  EXPECT_TRUE(Integer(0).is_zero());
  EXPECT_TRUE(number("-0").is_zero());
  EXPECT_TRUE((number("18446744073709551616") & 1U).is_zero());
  EXPECT_FALSE(Integer(1).is_zero());
  EXPECT_FALSE(number("18446744073709551616").is_zero());
  EXPECT_FALSE(Integer(-1).is_zero());
}

TEST(Integer, equals_by_value) {
  EXPECT_TRUE(number(kTenToForty) == number(kTenToForty));
  EXPECT_TRUE(number("007") == Integer(7));
  EXPECT_TRUE(Integer(-5) == number("-5"));
  EXPECT_FALSE(number("18446744073709551616") == Integer(0));
  EXPECT_FALSE(Integer(0) == number("18446744073709551616"));
  EXPECT_FALSE(number("-5") == Integer(5));
  EXPECT_FALSE(number(kTenToForty) == number("-" + kTenToForty));
}

}  // namespace
}  // namespace zorbec
