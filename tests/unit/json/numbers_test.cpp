#include "json/numbers.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>

#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

const std::string kTenToForty = "1" + std::string(40, '0');

// In decimal; "none" stands for a value that is no number.
std::string decimal_or_none(const std::optional<Integer>& number) {
  return number ? number->decimal() : "none";
}

struct NumberCase : unit::Row {
  std::string json;
  std::string as;
  std::string to;
};

class FieldAsNumber : public ::testing::TestWithParam<NumberCase> {
 protected:
  const JsonDocument document = unit::json("{\"field\": " + GetParam().json + "}");
};

TEST_P(FieldAsNumber, is_taken_as) {
  EXPECT_EQ(decimal_or_none(as_integer(document.value(0))), GetParam().as);
}
TEST_P(FieldAsNumber, is_converted_to) {
  EXPECT_EQ(decimal_or_none(to_integer(document.value(0))), GetParam().to);
}

INSTANTIATE_TEST_SUITE_P(
    Value, FieldAsNumber,
    ::testing::Values(
        NumberCase{"integer", "42", "42", "42"}, NumberCase{"negative", "-42", "-42", "-42"},
        NumberCase{"wide", kTenToForty, kTenToForty, kTenToForty},
        NumberCase{"too_many_digits", std::string(4001, '9'), "none", "none"},
        NumberCase{"true_is_one", "true", "1", "1"}, NumberCase{"false_is_zero", "false", "0", "0"},
        NumberCase{"text_of_digits", R"("42")", "none", "42"},
        NumberCase{"text_with_leading_zeros", R"("0042")", "none", "42"},
        NumberCase{"text_of_a_negative", R"("-42")", "none", "-42"},
        NumberCase{"text_with_escapes", R"("4\u0032")", "none", "42"},
        NumberCase{"text_empty", R"("")", "none", "none"},
        NumberCase{"text_in_hexadecimal", R"("0x2a")", "none", "none"},
        NumberCase{"text_of_a_real", R"("1.5")", "none", "none"},
        NumberCase{"text_of_a_word", R"("true")", "none", "none"},
        NumberCase{"real", "1.9", "none", "1"}, NumberCase{"real_negative", "-1.9", "none", "-1"},
        NumberCase{"real_with_exponent", "1e3", "none", "1000"},
        NumberCase{"real_wide", "1e20", "none", "100000000000000000000"},
        NumberCase{"real_too_large", "1e400", "none", "none"},
        NumberCase{"real_too_small", "1e-400", "none", "0"},
        NumberCase{"null", "null", "none", "none"}, NumberCase{"list", "[1]", "none", "none"},
        NumberCase{"object", R"({"a": 1})", "none", "none"}),
    unit::row_name<NumberCase>);

struct EqualsCase : unit::Row {
  std::string json;
  int number;
  bool equal;
};

class Equals : public ::testing::TestWithParam<EqualsCase> {};

TEST_P(Equals, tells) {
  const JsonDocument document = unit::json("{\"field\": " + GetParam().json + "}");
  EXPECT_EQ(equals(document.value(0), GetParam().number), GetParam().equal);
}

INSTANTIATE_TEST_SUITE_P(
    Value, Equals,
    ::testing::Values(EqualsCase{"one", "1", 1, true}, EqualsCase{"zero", "0", 0, true},
                      EqualsCase{"minus_zero", "-0", 0, true}, EqualsCase{"other", "2", 1, false},
                      EqualsCase{"negative", "-1", -1, true},
                      EqualsCase{"true_is_one", "true", 1, true},
                      EqualsCase{"true_is_not_zero", "true", 0, false},
                      EqualsCase{"false_is_zero", "false", 0, true},
                      EqualsCase{"real_one", "1.0", 1, true},
                      EqualsCase{"real_one_with_exponent", "10e-1", 1, true},
                      EqualsCase{"real_with_a_fraction", "1.5", 1, false},
                      EqualsCase{"wide", "18446744073709551617", 1, false},
                      EqualsCase{"too_many_digits", std::string(4001, '9'), 1, false},
                      EqualsCase{"text_equals_none", R"("1")", 1, false},
                      EqualsCase{"null_equals_none", "null", 0, false},
                      EqualsCase{"list_equals_none", "[]", 0, false},
                      EqualsCase{"object_equals_none", "{}", 0, false}),
    unit::row_name<EqualsCase>);

}  // namespace
}  // namespace zorbec
