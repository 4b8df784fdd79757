#include "json/document.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/unit/support/errors.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using unit::json;

std::string nested_lists(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::string nested_objects(std::size_t depth) {
  std::string text;
  for (std::size_t i = 1; i < depth; ++i) text += R"({"a":)";
  return text + "{}" + std::string(depth - 1, '}');
}

struct ValidCase : unit::Row {
  std::string text;
};

class Valid : public ::testing::TestWithParam<ValidCase> {};

TEST_P(Valid, is_loaded) {
  EXPECT_NO_THROW(json(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Text, Valid,
    ::testing::Values(ValidCase{"empty_object", "{}"},
                      ValidCase{"blanks_around", " \t\r\n{ } \t\r\n"},
                      ValidCase{"every_escape", R"({"a": "\"\\\/\b\f\n\r\t\u00e9"})"},
                      ValidCase{"surrogate_pair", R"({"a": "\ud83d\ude00"})"},
                      ValidCase{"utf8_of_every_length",
                                "{\"a\": \"\x7f\xc3\xa9\xe2\x82\xac"
                                "\xf0\x9f\x98\x80\"}"},
                      ValidCase{"numbers", "[0, -0, 1.5, 1e5, 1E+5, 1e-5, -1.25e2]"},
                      ValidCase{"real_out_of_range", "[1e400, -1e400, 1e-400]"},
                      ValidCase{"exponent_of_nine_digits", "[1e999999999, 1e-999999999]"},
                      ValidCase{"lists_nested_32_deep", nested_lists(32)},
                      ValidCase{"objects_nested_32_deep", nested_objects(32)}),
    unit::row_name<ValidCase>);

struct InvalidCase : unit::Row {
  std::string text;
};

class Invalid : public ::testing::TestWithParam<InvalidCase> {};

TEST_P(Invalid, is_refused) {
  EXPECT_THAT(unit::error_of<JsonError>([] { json(GetParam().text); }),
              StartsWith("not valid JSON at byte "));
}

INSTANTIATE_TEST_SUITE_P(
    Text, Invalid,
    ::testing::Values(
        InvalidCase{"empty", ""}, InvalidCase{"only_blanks", " \n"},
        InvalidCase{"text_after_the_document", "{} x"}, InvalidCase{"second_document", "{}{}"},
        InvalidCase{"nul_byte_after_the_document", std::string("{}\0", 3)},
        InvalidCase{"bracket_too_many", "{}}"}, InvalidCase{"byte_order_mark", "\xef\xbb\xbf{}"},
        InvalidCase{"nan", R"({"a": NaN})"}, InvalidCase{"infinity", R"({"a": Infinity})"},
        InvalidCase{"minus_infinity", R"({"a": -Infinity})"},
        InvalidCase{"truncated_object", R"({"a": 1)"},
        InvalidCase{"truncated_after_comma", R"({"a": 1,)"},
        InvalidCase{"truncated_name", R"({"a)"}, InvalidCase{"truncated_text", R"({"a": "b)"},
        InvalidCase{"truncated_escape", R"({"a": "\)"}, InvalidCase{"truncated_word", "[tru"},
        InvalidCase{"truncated_number", "[-"}, InvalidCase{"truncated_list", "[1"},
        InvalidCase{"comma_before_the_end", R"({"a": 1,})"},
        InvalidCase{"list_comma_before_the_end", "[1,]"}, InvalidCase{"no_comma", "[1 2]"},
        InvalidCase{"no_colon", R"({"a" 1})"}, InvalidCase{"no_name", "{1: 2}"},
        InvalidCase{"single_quotes", "{'a': 1}"}, InvalidCase{"comment", "{} // dump"},
        InvalidCase{"wrong_bracket", "[1}"}, InvalidCase{"word_in_capitals", "[True]"},
        InvalidCase{"leading_zero", "[01]"}, InvalidCase{"plus_sign", "[+1]"},
        InvalidCase{"no_digit_after_the_point", "[1.]"},
        InvalidCase{"no_digit_before_the_point", "[.5]"},
        InvalidCase{"no_digit_in_the_exponent", "[1e]"}, InvalidCase{"hexadecimal", "[0x1]"},
        InvalidCase{"exponent_of_eleven_digits", "[1e99999999999]"},
        InvalidCase{"unknown_escape", R"(["\x41"])"}, InvalidCase{"short_escape", R"(["\u12"])"},
        InvalidCase{"bad_hexadecimal_escape", R"(["\u12g4"])"},
        InvalidCase{"leading_surrogate_alone", R"(["\ud83d"])"},
        InvalidCase{"trailing_surrogate_alone", R"(["\ude00"])"},
        InvalidCase{"newline_in_a_text", "[\"a\nb\"]"},
        InvalidCase{"nul_byte_in_a_text", std::string("[\"a\0b\"]", 7)},
        InvalidCase{"utf8_stray_byte", "[\"\x80\"]"}, InvalidCase{"utf8_cut_short", "[\"\xc3\"]"},
        InvalidCase{"utf8_overlong", "[\"\xc0\xaf\"]"},
        InvalidCase{"utf8_surrogate", "[\"\xed\xa0\x80\"]"},
        InvalidCase{"utf8_above_the_last_character", "[\"\xf4\x90\x80\x80\"]"},
        InvalidCase{"utf8_wrong_in_a_name", "{\"\xff\": 1}"},
        InvalidCase{"lists_nested_33_deep", nested_lists(33)},
        InvalidCase{"objects_nested_33_deep", nested_objects(33)},
        InvalidCase{"nested_a_million_deep", std::string(1'000'000, '[')}),
    unit::row_name<InvalidCase>);

TEST(JsonError, says_at_which_byte) {
  EXPECT_THAT(unit::error_of<JsonError>([] { json(R"({"a": 1} x)"); }),
              StartsWith("not valid JSON at byte 9: "));
}

// ---------------------------------------------------------------------------------------------

std::vector<std::string_view> names(const JsonDocument& document) {
  std::vector<std::string_view> all;
  for (std::uint32_t entry = 0; entry < document.size(); ++entry) {
    all.push_back(document.name(entry));
  }
  return all;
}

std::string text_of_entry(const JsonDocument& document, std::string_view name) {
  const std::optional<std::uint32_t> entry = document.find(name);
  return entry ? std::string(document.value(*entry).text()) : "none";
}

TEST(JsonDocument, without_text_is_an_empty_object) {
  const JsonDocument document;
  EXPECT_TRUE(document.is_object());
  EXPECT_EQ(document.size(), 0U);
  EXPECT_EQ(document.find("a"), std::nullopt);
}

TEST(JsonDocument, empty_object_has_no_members) {
  const JsonDocument document = json("{}");
  EXPECT_TRUE(document.is_object());
  EXPECT_EQ(document.size(), 0U);
  EXPECT_TRUE(document.sorted_entries().empty());
}

TEST(JsonDocument, members_stand_in_file_order) {
  EXPECT_THAT(names(json(R"({"10": 1, "2": 2, "b": 3, "a": 4})")),
              ElementsAre("10", "2", "b", "a"));
}

TEST(JsonDocument, duplicate_member_keeps_first_place_and_takes_last_value) {
  const JsonDocument document =
      json(R"({"5": {"x": 1}, "6": {"x": 2}, "5": {"x": 3, "y": [4]}, "a": 1, "a": 2})");
  EXPECT_THAT(names(document), ElementsAre("5", "6", "a"));
  EXPECT_EQ(document.value(0).member("x")->text(), "3");
  EXPECT_TRUE(document.value(0).member("y").has_value());
  EXPECT_EQ(document.value(1).member("x")->text(), "2");
  EXPECT_EQ(document.value(2).text(), "2");
}

TEST(JsonDocument, duplicate_member_written_with_escapes_is_one) {
  const JsonDocument document = json(R"({"ab": 1, "\u0061b": 2, "7": 3, "\u0037": 4})");
  EXPECT_THAT(names(document), ElementsAre("ab", "7"));
  EXPECT_EQ(text_of_entry(document, "ab"), "2");
  EXPECT_EQ(text_of_entry(document, "7"), "4");
}

TEST(JsonDocument, duplicate_field_keeps_first_place_and_takes_last_value) {
  const JsonDocument document =
      json(R"({"r": {"a": 1, "b": [2], "a": 3, "c": 4, "a": [5, 6]}, "s": {"a": 1, "b": 2}})");
  const JsonValue record = document.value(0);
  ASSERT_EQ(record.shape().members.size(), 3U);
  EXPECT_EQ(record.shape().members[0].name, "a");
  EXPECT_EQ(record.shape().members[1].name, "b");
  EXPECT_EQ(record.shape().members[2].name, "c");
  EXPECT_EQ(record.member("a")->kind(), JsonKind::kArray);
  EXPECT_EQ(record.member("c")->text(), "4");
  EXPECT_EQ(document.value(1).member("a")->text(), "1");
}

struct NameCase : unit::Row {
  std::string in_file;
  std::string text;
  std::optional<std::uint64_t> number;
};

class MemberName : public ::testing::TestWithParam<NameCase> {};

TEST_P(MemberName, is_found_by_text_and_by_canonical_number) {
  const JsonDocument document = json(R"({"1": 0, ")" + GetParam().in_file + R"(": 1})");
  EXPECT_EQ(document.name(1), GetParam().text);
  EXPECT_EQ(document.find(GetParam().text), 1U);
  EXPECT_EQ(canonical_number(GetParam().text), GetParam().number);
  if (GetParam().number) {
    EXPECT_EQ(document.find(*GetParam().number), 1U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Name, MemberName,
    ::testing::Values(
        NameCase{"zero", "0", "0", 0}, NameCase{"number", "50331976", "50331976", 50331976},
        NameCase{"largest_word", "18446744073709551615", "18446744073709551615",
                 18446744073709551615U},
        NameCase{"two_to_64", "18446744073709551616", "18446744073709551616", {}},
        NameCase{"leading_zeros", "007", "007", {}}, NameCase{"two_zeros", "00", "00", {}},
        NameCase{"negative", "-1", "-1", {}}, NameCase{"plus_sign", "+2", "+2", {}},
        NameCase{"hexadecimal", "0x5", "0x5", {}}, NameCase{"blank_before", " 5", " 5", {}},
        NameCase{"blank_behind", "5 ", "5 ", {}}, NameCase{"empty", "", "", {}},
        NameCase{"word", "abc", "abc", {}}, NameCase{"escaped_digits", "\\u0034\\u0032", "42", 42},
        NameCase{"escapes", "a\\\"\\\\\\n", "a\"\\\n", {}},
        NameCase{"nul_character", "a\\u0000b", std::string("a\0b", 3), {}},
        NameCase{"beyond_ascii", "\xc3\xa9", "\xc3\xa9", {}}),
    unit::row_name<NameCase>);

TEST(JsonDocument, names_are_compared_as_texts) {
  const JsonDocument document = json(R"({"007": 1, "18446744073709551617": 2})");
  EXPECT_EQ(document.find("7"), std::nullopt);
  EXPECT_EQ(document.find(7), std::nullopt);
  EXPECT_EQ(document.find(1), std::nullopt);
  EXPECT_EQ(document.find("07"), std::nullopt);
}

TEST(JsonDocument, both_spellings_of_a_number_are_members_of_their_own) {
  const JsonDocument document = json(R"({"007": 1, "7": 2})");
  EXPECT_EQ(text_of_entry(document, "007"), "1");
  EXPECT_EQ(text_of_entry(document, "7"), "2");
}

TEST(JsonDocument, entries_are_sorted_byte_by_byte) {
  const JsonDocument document =
      json(R"({"2": 0, "10": 0, "a": 0, "1": 0, "": 0, "\u00e9": 0, "0": 0, "123456789": 0,)"
           R"( "123456788": 0, "12345678": 0, "B": 0, "a\u0000": 0})");
  std::vector<std::string> sorted;
  for (const std::uint32_t entry : document.sorted_entries()) {
    sorted.emplace_back(document.name(entry));
  }
  EXPECT_THAT(sorted, ElementsAre("", "0", "1", "10", "12345678", "123456788", "123456789", "2",
                                  "B", "a", std::string("a\0", 2), "\xc3\xa9"));
}

struct TopLevelCase : unit::Row {
  std::string text;
  JsonKind kind;
  std::string kind_name;
  std::string description;
};

class TopLevel : public ::testing::TestWithParam<TopLevelCase> {};

TEST_P(TopLevel, other_than_an_object_has_no_members) {
  const JsonDocument document = json(GetParam().text);
  EXPECT_EQ(document.root().kind(), GetParam().kind);
  EXPECT_FALSE(document.is_object());
  EXPECT_EQ(document.size(), 0U);
  EXPECT_EQ(document.find("a"), std::nullopt);
  EXPECT_EQ(kind_name(document.root().kind()), GetParam().kind_name);
  EXPECT_EQ(describe(document.root()), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    Value, TopLevel,
    ::testing::Values(
        TopLevelCase{"list", R"([{"a": 1}])", JsonKind::kArray, "a list", "a list"},
        TopLevelCase{"empty_list", "[]", JsonKind::kArray, "a list", "a list"},
        TopLevelCase{"text", R"("a")", JsonKind::kText, "a text", R"(a text "a")"},
        TopLevelCase{"text_with_escapes", R"("\u0061\n")", JsonKind::kText, "a text",
                     R"(a text "a\n")"},
        TopLevelCase{"integer", "12", JsonKind::kInteger, "an integer", R"(an integer "12")"},
        TopLevelCase{"real", "1.5", JsonKind::kReal, "a real number", R"(a real number "1.5")"},
        TopLevelCase{"true_value", "true", JsonKind::kTrue, "true", "true"},
        TopLevelCase{"false_value", "false", JsonKind::kFalse, "false", "false"},
        TopLevelCase{"null_value", "null", JsonKind::kNull, "null", "null"}),
    unit::row_name<TopLevelCase>);

struct NumberTextCase : unit::Row {
  std::string text;
  JsonKind kind;
};

class NumberText : public ::testing::TestWithParam<NumberTextCase> {};

TEST_P(NumberText, is_kept_as_written) {
  const JsonDocument document = json("{\"a\": " + GetParam().text + "}");
  EXPECT_EQ(document.value(0).kind(), GetParam().kind);
  EXPECT_EQ(document.value(0).text(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Number, NumberText,
    ::testing::Values(
        NumberTextCase{"zero", "0", JsonKind::kInteger},
        NumberTextCase{"minus_zero", "-0", JsonKind::kInteger},
        NumberTextCase{"negative", "-12", JsonKind::kInteger},
        NumberTextCase{"two_to_64", "18446744073709551616", JsonKind::kInteger},
        NumberTextCase{"ten_thousand_digits", std::string(10'000, '7'), JsonKind::kInteger},
        NumberTextCase{"real", "1.50", JsonKind::kReal},
        NumberTextCase{"real_whole", "1.0", JsonKind::kReal},
        NumberTextCase{"exponent", "1E+05", JsonKind::kReal},
        NumberTextCase{"many_decimals", "0." + std::string(10'000, '3'), JsonKind::kReal}),
    unit::row_name<NumberTextCase>);

TEST(JsonValue, text_is_without_its_escapes) {
  const JsonDocument document =
      json(R"({"r": {"a": "x\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00y", "b": "plain", "c": ""}})");
  const JsonValue record = document.value(0);
  EXPECT_EQ(record.member("a")->text(), "x\"\\/\b\f\n\r\t\xc3\xa9\xf0\x9f\x98\x80y");
  EXPECT_EQ(record.member("b")->text(), "plain");
  EXPECT_EQ(record.member("c")->text(), "");
}

TEST(JsonValue, field_whose_name_is_written_with_escapes_is_found) {
  const JsonDocument document =
      json(R"({"1": {"n\u0061me": "a", "k": "\u0062"}, "2": {"name": "c", "k": "d"},)"
           R"( "3": {"\"\n": "e"}})");
  EXPECT_EQ(document.value(0).member("name")->text(), "a");
  EXPECT_EQ(document.value(0).member("k")->text(), "b");
  EXPECT_EQ(document.value(1).member("name")->text(), "c");
  EXPECT_EQ(document.value(2).member("\"\n")->text(), "e");
}

TEST(JsonValue, missing_field_is_none) {
  const JsonDocument document = json(R"({"1": {"b": 1}, "2": {}})");
  EXPECT_EQ(document.value(0).member("a"), std::nullopt);
  EXPECT_EQ(document.value(0).member("bb"), std::nullopt);
  EXPECT_EQ(document.value(0).member(""), std::nullopt);
  EXPECT_EQ(document.value(1).member("b"), std::nullopt);
}

TEST(JsonValue, fields_behind_lists_and_objects_are_found) {
  const JsonDocument document =
      json(R"({"1": {"a": [1, [2, 3], {"x": 4}], "b": {"c": {"d": 5}}, "e": 6}})");
  const JsonValue record = document.value(0);
  EXPECT_EQ(record.member("e")->text(), "6");
  EXPECT_EQ(record.member("b")->member("c")->member("d")->text(), "5");
}

TEST(JsonValue, records_with_the_same_names_in_the_same_order_share_a_shape) {
  const JsonDocument document =
      json(R"({"1": {"a": 1, "b": 2}, "2": {"a": 3, "b": [4]}, "3": {"b": 5, "a": 6}})");
  EXPECT_EQ(&document.value(0).shape(), &document.value(1).shape());
  EXPECT_NE(&document.value(0).shape(), &document.value(2).shape());
  EXPECT_EQ(document.value(2).member("a")->text(), "6");
}

TEST(JsonValue, children_are_visited_in_file_order_until_one_says_no) {
  const JsonDocument document = json(R"({"1": [1, [2], {"a": 3}, 4], "2": {"b": 5, "a": [6]}})");
  std::vector<std::string_view> kinds;
  EXPECT_TRUE(document.value(0).for_each_child([&](const JsonValue& child) {
    kinds.push_back(kind_name(child.kind()));
    return true;
  }));
  EXPECT_THAT(kinds, ElementsAre("an integer", "a list", "an object", "an integer"));
  int visited = 0;
  EXPECT_FALSE(document.value(1).for_each_child([&](const JsonValue& child) {
    ++visited;
    return child.kind() != JsonKind::kInteger;
  }));
  EXPECT_EQ(visited, 1);
}

TEST(JsonDocument, can_be_moved) {
  JsonDocument first = json(R"({"1": {"a": "\u0062"}, "x": 2})");
  JsonDocument second;
  second = std::move(first);
  EXPECT_EQ(second.value(0).member("a")->text(), "b");
  EXPECT_EQ(text_of_entry(second, "x"), "2");
}

TEST(JsonDocument, many_records_of_many_shapes) {
  std::ostringstream text;
  for (int i = 0; i < 2000; ++i) {
    text << (i == 0 ? '{' : ',') << '"' << i << R"(": {"id": )" << i << R"(, "f)" << i % 50
         << R"(": "\u0041)" << i << R"("})";
  }
  text << '}';
  const JsonDocument document = json(text.str());
  ASSERT_EQ(document.size(), 2000U);
  for (std::uint32_t i = 0; i < 2000; ++i) {
    const JsonValue record = document.value(document.find(i).value());
    ASSERT_EQ(record.member("id")->text(), std::to_string(i));
    ASSERT_EQ(record.member("f" + std::to_string(i % 50))->text(), "A" + std::to_string(i));
  }
}

}  // namespace
}  // namespace zorbec
