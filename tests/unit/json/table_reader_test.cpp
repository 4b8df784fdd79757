#include "json/table_reader.h"

#include <gmock/gmock.h>

#include <cctype>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "tables/table_rendering.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

// What became of a dump: everything in it as a log shows it, in file order and by name; or that it
// was refused.
std::string outcome(const std::string& text) {
  try {
    const PmdbTable pmdb = unit::pmdb_table(text);
    std::string seen;
    for (std::uint32_t entry = 0; entry < pmdb.size(); ++entry) {
      seen.append(pmdb.name(entry)).append(" ");
      const std::optional<std::uint32_t> found = pmdb.find(pmdb.name(entry));
      seen.append(found == entry ? "found\n" : "not found\n");
    }
    render(pmdb, [&](std::string_view piece) { seen += piece; });
    return seen + (pmdb.document().holds_only_objects() ? "objects only" : "other values");
  } catch (const JsonError&) {
    return "refused";
  }
}

// The same table, written so that only the parser takes it: the first digit that stands between
// quotes as an escape. A table without one is none that the quick reader would be asked about.
std::string for_the_parser(const std::string& text) {
  const std::size_t quote = text.find('"');
  if (quote == std::string::npos || quote + 1 >= text.size()) return text;
  const char digit = text[quote + 1];
  if (std::isdigit(static_cast<unsigned char>(digit)) == 0) return text;
  return text.substr(0, quote + 1) + "\\u003" + digit + text.substr(quote + 2);
}

struct TableCase : unit::Row {
  TableCase(const char* row_name, const char* table_text) : Row(row_name), text(table_text) {}
  const char* text;
};

const TableCase kTables[] = {
    {"empty", R"({})"},
    {"blanks_everywhere", " { \"1\" :\t{ \"a\" : 1 , \"b\" : \"x\" }\r\n } \n"},
    {"empty_record", R"({"1": {}, "2": {}})"},
    {"records_of_one_kind", R"({"1": {"a": 1, "b": 2}, "2": {"a": 3, "b": 4}})"},
    {"records_of_several_kinds", R"({"1": {"a": 1}, "2": {"b": 4}, "3": {"a": 5}, "4": {}})"},
    {"same_names_in_another_order", R"({"1": {"a": 1, "b": 2}, "2": {"b": 4, "a": 3}})"},
    {"same_names_other_blanks", R"({"1": {"a": 1, "b": 2}, "2": {"a":3,"b":4}})"},
    {"all_plain_values", R"({"1": {"a": 0, "b": -7, "c": "", "d": true, "e": false, "f": null}})"},
    {"member_name_longer_than_what_is_compared_at_once",
     R"({"1": {"a": 1, "0123456789012345678901234567890123456789012345678901234567890123": 2},
         "2": {"a": 3, "0123456789012345678901234567890123456789012345678901234567890123": 4}})"},
    {"long_texts", R"({"1": {"a": "0123456789012345678901234567890123456789"}})"},
    {"long_names", R"({"1": {"a_name_of_more_than_thirty_two_characters": 1, "b": 2}})"},
    {"number_of_many_digits", R"({"1": {"a": 123456789012345678901234567890}})"},
    {"text_with_escape", R"({"1": {"a": "x\ny"}, "2": {"a": "\u0041"}})"},
    {"text_beyond_ascii", "{\"1\": {\"a\": \"\xc3\xa4\"}}"},
    {"text_not_utf_8", "{\"1\": {\"a\": \"\xc3\"}}"},
    {"text_with_control_character", "{\"1\": {\"a\": \"x\ty\"}}"},
    {"text_with_delete", "{\"1\": {\"a\": \"x\x7fy\"}}"},
    {"real_number", R"({"1": {"a": 1.5}, "2": {"a": 1e3}})"},
    {"leading_zero_in_value", R"({"1": {"a": 01}})"},
    {"plus_sign", R"({"1": {"a": +1}})"},
    {"minus_alone", R"({"1": {"a": -}})"},
    {"minus_zero", R"({"1": {"a": -0}})"},
    {"letters_behind_number", R"({"1": {"a": 1x}})"},
    {"half_a_word", R"({"1": {"a": tru}})"},
    {"nested_value", R"({"1": {"a": {"b": 1}}, "2": {"a": [1, 2]}})"},
    {"entry_is_no_record", R"({"1": {"a": 1}, "2": 5, "3": "x"})"},
    {"top_is_a_list", R"([{"a": 1}])"},
    {"name_with_leading_zero", R"({"007": {"a": 1}, "7": {"a": 2}})"},
    {"name_zero", R"({"0": {"a": 1}, "00": {"a": 2}})"},
    {"name_no_number", R"({"abc": {"a": 1}, "1": {"a": 2}})"},
    {"name_empty", R"({"": {"a": 1}})"},
    {"name_of_32_bits", R"({"4294967294": {"a": 1}, "4294967295": {"a": 2}})"},
    {"name_of_11_digits", R"({"99999999999": {"a": 1}, "1": {"a": 2}})"},
    {"name_beyond_64_bits", R"({"18446744073709551616": {"a": 1}, "5": {"a": 2}})"},
    {"names_sorted_as_texts", R"({"10": {"a": 1}, "9": {"a": 1}, "100": {"a": 1}, "1": {"a": 1}})"},
    {"entry_twice", R"({"1": {"a": 1}, "2": {"a": 2}, "1": {"a": 3}})"},
    {"member_twice", R"({"1": {"a": 1, "a": 2}})"},
    {"comma_behind_last_member", R"({"1": {"a": 1,}})"},
    {"comma_behind_last_entry", R"({"1": {"a": 1},})"},
    {"comma_missing", R"({"1": {"a": 1} "2": {"a": 1}})"},
    {"colon_missing", R"({"1" {"a": 1}})"},
    {"text_behind_table", R"({"1": {"a": 1}} x)"},
    {"ends_in_record", R"({"1": {"a": 1)"},
    {"ends_in_text", R"({"1": {"a": "x)"},
    {"ends_behind_colon", R"({"1": {"a":)"},
};

class TableReaderForms : public ::testing::TestWithParam<TableCase> {};

TEST_P(TableReaderForms, takes_what_the_parser_takes_and_makes_the_same_of_it) {
  const std::string text = GetParam().text;
  EXPECT_EQ(outcome(text), outcome(for_the_parser(text)));
}

INSTANTIATE_TEST_SUITE_P(All, TableReaderForms, ::testing::ValuesIn(kTables),
                         unit::row_name<TableCase>);

// A table as the tools write it, of random size and values.
std::string random_table(std::mt19937& random) {
  std::string text = "{";
  for (std::size_t left = 1 + random() % 6; left > 0; --left) {
    text += "\"" + std::to_string(random() % 40) + "\": {\"rif\": " + std::to_string(random());
    text += ", \"intf_name\": \"Bundle-Ether" + std::to_string(random() % 20) + "\"";
    if (random() % 4 != 0) text += ", \"is_l2\": " + std::to_string(random() % 2);
    text += left > 1 ? "},\n" : "}";
  }
  return text + "}\n";
}

// One character is changed, left out or doubled.
void damage(std::string& text, std::mt19937& random) {
  static constexpr std::string_view kOthers = "{}[]\":,0-1.9eE \n\\tfnx\x01\xff";
  const std::size_t at = random() % text.size();
  switch (random() % 3) {
    case 0:
      text[at] = kOthers[random() % kOthers.size()];
      break;
    case 1:
      text.erase(at, 1);
      break;
    default:
      text.insert(at, 1, text[at]);
  }
}

TEST(TableReader, damaged_tables_come_out_as_they_do_from_the_parser) {
  std::mt19937 random(20);
  std::size_t refused = 0;
  constexpr std::size_t kTries = 5000;
  for (std::size_t i = 0; i < kTries; ++i) {
    std::string text = random_table(random);
    const std::size_t changes = random() % 3;
    for (std::size_t change = 0; change < changes; ++change) damage(text, random);
    const std::string found = outcome(text);
    ASSERT_EQ(found, outcome(for_the_parser(text))) << text;
    if (found == "refused") ++refused;
  }
  // Both kinds were tried.
  EXPECT_GT(refused, kTries / 10);
  EXPECT_LT(refused, kTries * 9 / 10);
}

}  // namespace
}  // namespace zorbec
