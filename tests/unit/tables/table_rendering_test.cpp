#include "tables/table_rendering.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <latch>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "base/columns.h"
#include "base/made_once.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/tables.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using ::testing::Each;
using ::testing::Le;
using unit::interface_table;
using unit::pmdb_table;

std::string rendering(const PmdbTable& pmdb) {
  std::string text;
  render(pmdb, [&](std::string_view piece) { text += piece; });
  return text;
}

std::string rendering(std::string_view json) {
  return rendering(pmdb_table(json));
}

// A table of one node.
std::string rendering(const std::string& node, InterfaceTable table) {
  InterfaceTables tables;
  tables.set(node, std::move(table));
  return render(tables);
}

std::string letters(std::size_t count) {
  std::string text(count, 'x');
  return text;
}

// Written with a character of two bytes.
std::string wide_letters(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += "\xc3\xa9";
  return text;
}

// ---------------------------------------------------------------------------------------------

struct RenderingCase : unit::Row {
  std::string dump;
  std::string text;
};

class Rendering : public ::testing::TestWithParam<RenderingCase> {};

TEST_P(Rendering, of_a_key_map_is) {
  EXPECT_EQ(rendering(GetParam().dump), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Dump, Rendering,
    ::testing::Values(
        RenderingCase{"empty_map", "{}", "{}\n"},
        RenderingCase{"empty_map_and_list_inside", R"({"a":{},"b":[]})",
                      "{\"a\": {}, \"b\": []}\n"},
        RenderingCase{"members_sorted_by_bytes", R"({"10":1,"2":2,"1":3,"0":4})",
                      "{\"0\": 4, \"1\": 3, \"10\": 1, \"2\": 2}\n"},
        RenderingCase{"fields_sorted_by_bytes", R"({"1":{"b":1,"10":2,"2":3,"B":4,"a":5}})",
                      "{\"1\": {\"10\": 2, \"2\": 3, \"B\": 4, \"a\": 5, \"b\": 1}}\n"},
        RenderingCase{"lists_keep_their_order", R"({"1":[3,1,2]})", "{\"1\": [3, 1, 2]}\n"},
        RenderingCase{"numbers_as_written", R"({"1":[1.50,1E+05,-0,10000000000000000000000]})",
                      "{\"1\": [1.50, 1E+05, -0, 10000000000000000000000]}\n"},
        RenderingCase{"words", R"({"1":[true,false,null]})", "{\"1\": [true, false, null]}\n"},
        RenderingCase{"only_what_must_be_is_escaped",
                      R"({"1":"\"\\\/\b\f\n\r\t\u0001\u001f\u007f\u00e9"})",
                      "{\"1\": \"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7f\xc3\xa9\"}\n"},
        RenderingCase{"names_are_escaped_too", R"({"a\"\n":{"\\":1}})",
                      "{\"a\\\"\\n\": {\"\\\\\": 1}}\n"},
        RenderingCase{"repeated_names_once", R"({"a":1,"b":{"x":1,"x":2},"a":3})",
                      "{\"a\": 3, \"b\": {\"x\": 2}}\n"},
        RenderingCase{"list_instead_of_a_table", R"([{"b":1,"a":2}])", "[{\"a\": 2, \"b\": 1}]\n"},
        RenderingCase{"text_instead_of_a_table", R"("x")", "\"x\"\n"},
        RenderingCase{"number_instead_of_a_table", "12", "12\n"},
        RenderingCase{"null_instead_of_a_table", "null", "null\n"}),
    unit::row_name<RenderingCase>);

// ---------------------------------------------------------------------------------------------

// {"a": "<text>"} has nine columns beside its text.
TEST(Columns, map_of_80_stands_on_one_line) {
  const std::string text = letters(71);
  EXPECT_EQ(rendering("{\"a\":\"" + text + "\"}"), "{\"a\": \"" + text + "\"}\n");
}
TEST(Columns, map_of_79_stands_on_one_line) {
  const std::string text = letters(70);
  EXPECT_EQ(rendering("{\"a\":\"" + text + "\"}"), "{\"a\": \"" + text + "\"}\n");
}
TEST(Columns, map_of_81_is_folded) {
  const std::string text = letters(72);
  EXPECT_EQ(rendering("{\"a\":\"" + text + "\"}"), "{\n \"a\": \"" + text + "\"\n}\n");
}

TEST(Columns, list_of_80_stands_on_one_line_and_of_81_is_folded) {
  EXPECT_EQ(rendering("[\"" + letters(70) + "\",1,2]"), "[\"" + letters(70) + "\", 1, 2]\n");
  EXPECT_EQ(rendering("[\"" + letters(71) + "\",1,2]"),
            "[\n \"" + letters(71) + "\",\n 1,\n 2\n]\n");
}

TEST(Columns, list_of_texts_of_80_stands_on_one_line_and_of_81_is_folded) {
  // ["<text>", "a"] has nine columns beside its text.
  EXPECT_EQ(render(SubifList{{}, {letters(71), "a"}}), "[\"" + letters(71) + "\", \"a\"]\n");
  EXPECT_EQ(render(SubifList{{}, {letters(72), "a"}}), "[\n \"" + letters(72) + "\",\n \"a\"\n]\n");
}

struct EdgeCase : unit::Row {
  std::size_t text_length;  // of a text in the first record
  bool fits;
};

// ` "a": {"b": "<text>"},` has 16 columns beside its text: the blank, the name and the comma count.
class LineWithNameAndComma : public ::testing::TestWithParam<EdgeCase> {};

TEST_P(LineWithNameAndComma, counts_them) {
  const std::string text = letters(GetParam().text_length);
  const std::string folded = GetParam().fits ? " \"a\": {\"b\": \"" + text + "\"},\n"
                                             : " \"a\": {\n  \"b\": \"" + text + "\"\n },\n";
  EXPECT_EQ(rendering("{\"a\":{\"b\":\"" + text + R"("},"c":{}})"),
            "{\n" + folded + " \"c\": {}\n}\n");
}

INSTANTIATE_TEST_SUITE_P(Line, LineWithNameAndComma,
                         ::testing::Values(EdgeCase{"of_79_columns", 63, true},
                                           EdgeCase{"of_80_columns", 64, true},
                                           EdgeCase{"of_81_columns", 65, false}),
                         unit::row_name<EdgeCase>);

// The same line as the last one of its map, which has no comma.
class LineWithoutComma : public ::testing::TestWithParam<EdgeCase> {};

TEST_P(LineWithoutComma, has_one_column_more) {
  const std::string text = letters(GetParam().text_length);
  const std::string folded = GetParam().fits ? " \"c\": {\"b\": \"" + text + "\"}\n"
                                             : " \"c\": {\n  \"b\": \"" + text + "\"\n }\n";
  EXPECT_EQ(rendering("{\"a\":1,\"c\":{\"b\":\"" + text + "\"}}"),
            "{\n \"a\": 1,\n" + folded + "}\n");
}

INSTANTIATE_TEST_SUITE_P(Line, LineWithoutComma,
                         ::testing::Values(EdgeCase{"of_79_columns", 64, true},
                                           EdgeCase{"of_80_columns", 65, true},
                                           EdgeCase{"of_81_columns", 66, false}),
                         unit::row_name<EdgeCase>);

// A list within a list: ` ["<text>"],` has 6 columns beside its text.
class LineOfAListWithComma : public ::testing::TestWithParam<EdgeCase> {};

TEST_P(LineOfAListWithComma, counts_it) {
  const std::string text = letters(GetParam().text_length);
  const std::string folded =
      GetParam().fits ? " [\"" + text + "\"],\n" : " [\n  \"" + text + "\"\n ],\n";
  EXPECT_EQ(rendering("[[\"" + text + "\"],[]]"), "[\n" + folded + " []\n]\n");
}

INSTANTIATE_TEST_SUITE_P(Line, LineOfAListWithComma,
                         ::testing::Values(EdgeCase{"of_79_columns", 73, true},
                                           EdgeCase{"of_80_columns", 74, true},
                                           EdgeCase{"of_81_columns", 75, false}),
                         unit::row_name<EdgeCase>);

TEST(Columns, character_of_several_bytes_is_one) {
  EXPECT_EQ(columns_of("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"), 4U);
  const std::string fits = wide_letters(71);
  EXPECT_EQ(rendering("{\"a\":\"" + fits + "\"}"), "{\"a\": \"" + fits + "\"}\n");
  const std::string too_long = wide_letters(72);
  EXPECT_EQ(rendering("{\"a\":\"" + too_long + "\"}"), "{\n \"a\": \"" + too_long + "\"\n}\n");
}

TEST(Columns, name_of_characters_of_several_bytes_counts_by_characters) {
  const std::string name = wide_letters(60);
  // ` "<name>": {"b": 1234567},` has 80 columns; the map as a whole has more.
  EXPECT_EQ(rendering("{\"" + name + "\":{\"b\":1234567},\"\xc3\xaa\":1}"),
            "{\n \"" + name + "\": {\"b\": 1234567},\n \"\xc3\xaa\": 1\n}\n");
  EXPECT_EQ(rendering("{\"" + name + "\":{\"b\":12345678},\"\xc3\xaa\":1}"),
            "{\n \"" + name + "\": {\n  \"b\": 12345678\n },\n \"\xc3\xaa\": 1\n}\n");
}

TEST(Columns, escaped_characters_take_what_is_written) {
  // Two columns each: 70 of the 71 that the text may take.
  std::string quotes;
  for (int i = 0; i < 35; ++i) quotes += "\\\"";
  EXPECT_EQ(rendering("{\"a\":\"" + quotes + "x\"}"), "{\"a\": \"" + quotes + "x\"}\n");
  EXPECT_EQ(rendering("{\"a\":\"" + quotes + "xx\"}"), "{\n \"a\": \"" + quotes + "xx\"\n}\n");
}

TEST(Columns, nothing_can_be_shorter_than_a_scalar_that_is_too_long) {
  EXPECT_EQ(rendering("\"" + letters(200) + "\""), "\"" + letters(200) + "\"\n");
}

TEST(Columns, list_is_folded_one_element_a_line_where_its_name_leaves_no_room) {
  const std::string name = letters(90);
  EXPECT_EQ(rendering("{\"" + name + "\":[1,[2,3]]}"),
            "{\n \"" + name + "\": [\n  1,\n  [2, 3]\n ]\n}\n");
}

TEST(Columns, what_is_empty_is_not_folded_even_where_its_brackets_do_not_fit) {
  for (const std::size_t length : {74U, 75U, 76U, 90U}) {
    const std::string name = letters(length);
    EXPECT_EQ(rendering("{\"" + name + "\":{},\"y\":1}"),
              "{\n \"" + name + "\": {},\n \"y\": 1\n}\n");
    EXPECT_EQ(rendering("{\"" + name + "\":[],\"y\":1}"),
              "{\n \"" + name + "\": [],\n \"y\": 1\n}\n");
  }
}

TEST(Columns, empty_table_of_a_node_is_not_folded_even_where_its_brackets_do_not_fit) {
  const std::string node = letters(90);
  EXPECT_EQ(rendering(node, interface_table("{}")), "{\n \"" + node + "\": {}\n}\n");
}

TEST(Folding, goes_as_deep_as_it_must) {
  const std::string text = letters(40);
  EXPECT_EQ(rendering("{\"1\":{\"l\":[[\"" + text + "\",\"" + text + "\"],[1,2]],\"m\":{}}}"),
            "{\n"
            " \"1\": {\n"
            "  \"l\": [\n"
            "   [\n"
            "    \"" +
                text +
                "\",\n"
                "    \"" +
                text +
                "\"\n"
                "   ],\n"
                "   [1, 2]\n"
                "  ],\n"
                "  \"m\": {}\n"
                " }\n"
                "}\n");
}

TEST(Folding, table_of_many_members_is_sorted) {
  std::string dump = "{";
  for (int i = 11; i >= 0; --i) dump += "\"" + std::to_string(i) + "\":{\"n\":1},";
  dump.back() = '}';
  EXPECT_EQ(rendering(dump),
            "{\n \"0\": {\"n\": 1},\n \"1\": {\"n\": 1},\n \"10\": {\"n\": 1},\n"
            " \"11\": {\"n\": 1},\n \"2\": {\"n\": 1},\n \"3\": {\"n\": 1},\n"
            " \"4\": {\"n\": 1},\n \"5\": {\"n\": 1},\n \"6\": {\"n\": 1},\n"
            " \"7\": {\"n\": 1},\n \"8\": {\"n\": 1},\n \"9\": {\"n\": 1}\n}\n");
}

// A short cut tells early that a table is too wide for a line; it must not tell so too early.
TEST(Folding, widest_table_of_short_members_that_fits_stands_on_one_line) {
  EXPECT_EQ(rendering(R"({"":1,"0":1,"1":1,"2":1,"3":1,"4":1,"5":1,"6":1,"7":1,"8":12})"),
            "{\"\": 1, \"0\": 1, \"1\": 1, \"2\": 1, \"3\": 1, \"4\": 1, \"5\": 1, \"6\": 1, "
            "\"7\": 1, \"8\": 12}\n");
}
TEST(Folding, widest_record_of_short_fields_that_fits_stands_on_one_line) {
  EXPECT_EQ(rendering(R"([{"":1,"0":1,"1":1,"2":1,"3":1,"4":1,"5":1,"6":1,"7":1}])"),
            "[{\"\": 1, \"0\": 1, \"1\": 1, \"2\": 1, \"3\": 1, \"4\": 1, \"5\": 1, \"6\": 1, "
            "\"7\": 1}]\n");
}

// ---------------------------------------------------------------------------------------------

TEST(InterfaceTablesRendering, without_nodes_is_an_empty_map) {
  EXPECT_EQ(render(InterfaceTables()), "{}\n");
}

TEST(InterfaceTablesRendering, sorts_nodes_by_bytes_and_leaves_out_those_without_a_dump) {
  InterfaceTables tables;
  for (const char* node : {"0", "1", "2", "10", "RP0", "3"}) tables.declare(node);
  for (const char* node : {"10", "2", "RP0", "0", "1"}) {
    tables.set(node, interface_table("{}"));
  }
  EXPECT_EQ(render(tables), "{\"0\": {}, \"1\": {}, \"10\": {}, \"2\": {}, \"RP0\": {}}\n");
}

TEST(InterfaceTablesRendering, shows_what_a_node_wrote_instead_of_a_table) {
  EXPECT_EQ(rendering("3", interface_table("[1, 2]")), "{\"3\": [1, 2]}\n");
  EXPECT_EQ(rendering("3", interface_table("null")), "{\"3\": null}\n");
}

TEST(InterfaceTablesRendering, shows_entries_that_are_no_records) {
  EXPECT_EQ(rendering("3", interface_table(R"({"2": [1], "1": "x"})")),
            "{\"3\": {\"1\": \"x\", \"2\": [1]}}\n");
}

TEST(Additions, stand_among_the_fields_in_the_order_of_names) {
  InterfaceTable table = interface_table(R"({"9": {"a": 1, "l": 2, "z": 3}})");
  table.additions[0].key_list = KeyList{Integer(9), Integer(255)};
  table.additions[0].subiflist = std::make_unique<SubifList>(SubifList{{}, {"12", "7"}});
  EXPECT_EQ(rendering("3", std::move(table)),
            "{\n"
            " \"3\": {\n"
            "  \"9\": {\n"
            "   \"a\": 1,\n"
            "   \"key_list\": [\"0x9\", \"0xff\"],\n"
            "   \"l\": 2,\n"
            "   \"subiflist\": [\"12\", \"7\"],\n"
            "   \"z\": 3\n"
            "  }\n"
            " }\n"
            "}\n");
}

TEST(Additions, hide_dumped_fields_of_their_names) {
  InterfaceTable table =
      interface_table(R"({"9": {"subiflist": ["x", "y"], "key_list": {"a": [1]}, "b": 1}})");
  table.additions[0].key_list = KeyList{Integer(9)};
  table.additions[0].subiflist = std::make_unique<SubifList>();
  EXPECT_EQ(rendering("3", std::move(table)),
            "{\"3\": {\"9\": {\"b\": 1, \"key_list\": [\"0x9\"], \"subiflist\": []}}}\n");
}

TEST(Additions, that_were_not_made_leave_dumped_fields_visible) {
  EXPECT_EQ(rendering("3", interface_table(R"({"9": {"key_list": ["x"], "subiflist": 1}})")),
            "{\"3\": {\"9\": {\"key_list\": [\"x\"], \"subiflist\": 1}}}\n");
}

TEST(Additions, empty_key_list_is_shown) {
  InterfaceTable table = interface_table(R"({"9": {}})");
  table.additions[0].key_list = KeyList();
  EXPECT_EQ(rendering("3", std::move(table)), "{\"3\": {\"9\": {\"key_list\": []}}}\n");
}

TEST(Additions, wide_keys_are_shown_whole) {
  InterfaceTable table = interface_table(R"({"9": {}})");
  table.additions[0].key_list = KeyList{Integer(1U) << 64U, Integer(-16)};
  EXPECT_EQ(rendering("3", std::move(table)),
            "{\"3\": {\"9\": {\"key_list\": [\"0x10000000000000000\", \"-0x10\"]}}}\n");
}

TEST(RecordRendering, is_that_of_the_record_alone) {
  InterfaceTable table = interface_table(R"({"8": {}, "9": {"name": "B1", "lagid": 1}})");
  table.additions[1].key_list = KeyList{Integer(9)};
  EXPECT_EQ(render(InterfaceRecord(table, 1)),
            "{\"key_list\": [\"0x9\"], \"lagid\": 1, \"name\": \"B1\"}\n");
}

TEST(SubifListRendering, is_a_list_of_handles) {
  EXPECT_EQ(render(SubifList{}), "[]\n");
  EXPECT_EQ(render(SubifList{{}, {"12", "a\"b"}}), "[\"12\", \"a\\\"b\"]\n");
}

TEST(SubifListRendering, shows_what_the_dump_supplied_first_and_as_it_was_written) {
  const JsonDocument dump = unit::json(R"({"9": ["7", 1.50, {"b": 1, "a": []}], "10": []})");
  EXPECT_EQ(render(SubifList{dump.value(0), {"12"}}),
            "[\"7\", 1.50, {\"a\": [], \"b\": 1}, \"12\"]\n");
  EXPECT_EQ(render(SubifList{dump.value(0), {}}), "[\"7\", 1.50, {\"a\": [], \"b\": 1}]\n");
  EXPECT_EQ(render(SubifList{dump.value(1), {"12"}}), "[\"12\"]\n");
  EXPECT_EQ(render(SubifList{dump.value(1), {}}), "[]\n");
}

TEST(SubifListRendering, folds_over_both_parts) {
  const JsonDocument dump = unit::json("[\"" + letters(40) + "\"]");
  EXPECT_EQ(render(SubifList{dump.root(), {letters(40)}}),
            "[\n \"" + letters(40) + "\",\n \"" + letters(40) + "\"\n]\n");
}

TEST(PmdbRendering, shows_claimed_entries_as_visited) {
  PmdbTable pmdb = pmdb_table(R"({"7": {"z": 1, "a": 2}, "8": {}, "9": {"visited": 0}})");
  pmdb.set_visited(0);
  EXPECT_EQ(rendering(pmdb),
            "{\"7\": {\"a\": 2, \"visited\": 1, \"z\": 1}, \"8\": {}, \"9\": {\"visited\": 0}}\n");
  pmdb.set_visited(2);
  EXPECT_EQ(rendering(pmdb),
            "{\"7\": {\"a\": 2, \"visited\": 1, \"z\": 1}, \"8\": {}, \"9\": {\"visited\": 1}}\n");
}

TEST(PmdbRendering, comes_in_pieces_of_some_256_kb) {
  std::string dump = "{";
  std::string expected = "{\n";
  const std::string text = letters(50);
  // Of the same number of digits, so that they are sorted as they stand.
  for (int key = 100'000; key < 110'000; ++key) {
    const std::string member = "\"" + std::to_string(key) + "\": {\"name\": \"" + text + "\"}";
    dump += member + ",";
    expected += " " + member + ",\n";
  }
  dump.back() = '}';
  expected.replace(expected.size() - 2, 2, "\n}\n");

  std::vector<std::size_t> sizes;
  std::string whole;
  const PmdbTable pmdb = pmdb_table(dump);
  render(pmdb, [&](std::string_view piece) {
    sizes.push_back(piece.size());
    whole += piece;
  });
  EXPECT_TRUE(whole == expected);  // too long to be shown
  EXPECT_GT(sizes.size(), 2U);
  EXPECT_THAT(sizes, Each(Le(std::size_t{256} * 1024 + 100)));
}

TEST(PmdbRendering, text_longer_than_a_piece_is_whole) {
  const std::string text = letters(300'000);
  EXPECT_EQ(rendering("{\"1\":{\"a\":\"" + text + "\",\"b\":1}}"),
            "{\n \"1\": {\n  \"a\": \"" + text + "\",\n  \"b\": 1\n }\n}\n");
}

// ---------------------------------------------------------------------------------------------

// Records that fit on no line are written in a quicker way if the dump holds nothing but flat ones.
// An entry that is none has them written in the ordinary way; nothing else may change.
struct WideRecordCase : unit::Row {
  std::string fields;
};

class WideRecord : public ::testing::TestWithParam<WideRecordCase> {
 protected:
  static constexpr std::string_view kNoRecord = "\n  \"!\": [],";

  // `digits` is how many the second key has, `subifs` how many handles are listed, if any are.
  static std::string text_of(const std::string& dump, std::size_t digits,
                             std::optional<std::size_t> subifs, bool is_inconsistent) {
    InterfaceTable table = interface_table(dump);
    RecordAdditions& additions = table.additions.back();
    if (digits != 0) {
      additions.key_list =
          KeyList{Integer(9), Integer(1U) << static_cast<unsigned>(4 * digits - 4)};
    }
    if (subifs) {
      additions.subiflist = std::make_unique<SubifList>();
      additions.subiflist->listed.assign(*subifs, "123456");
    }
    if (is_inconsistent) additions.inconsistent = 1;
    return rendering("3", std::move(table));
  }
};

TEST_P(WideRecord, looks_the_same_whatever_else_is_in_its_dump) {
  const std::string record = R"("9": {)" + GetParam().fields + "}";
  std::size_t folded_lists = 0;
  for (std::size_t digits = 0; digits < 70; ++digits) {
    for (const std::optional<std::size_t> subifs : {std::optional<std::size_t>(), {0}, {2}, {20}}) {
      for (const bool is_inconsistent : {false, true}) {
        const std::string quick = text_of("{" + record + "}", digits, subifs, is_inconsistent);
        std::string ordinary =
            text_of(R"({"!": [], )" + record + "}", digits, subifs, is_inconsistent);
        const std::size_t no_record = ordinary.find(kNoRecord);
        ASSERT_NE(no_record, std::string::npos) << ordinary;
        ordinary.erase(no_record, kNoRecord.size());
        ASSERT_EQ(quick, ordinary);
        folded_lists += quick.find("\"key_list\": [\n") == std::string::npos ? 0U : 1U;
      }
    }
  }
  EXPECT_GT(folded_lists, 0U);
  EXPECT_LT(folded_lists, 70U * 8U / 2U);
}

// A field whose name is alone too wide for a line.
std::string wide(char first) {
  return std::string("\"") + first + letters(70) + "\": 1";
}

INSTANTIATE_TEST_SUITE_P(
    Fields, WideRecord,
    ::testing::Values(
        WideRecordCase{"before_all_additions", R"("a": 1, "c": "x", )" + wide('b')},
        WideRecordCase{"behind_all_additions", R"("z": 1, "y": "", )" + wide('x')},
        WideRecordCase{"between_additions",
                       R"("a": 1, "z": -7, "j": null, "l": true, )" + wide('k')},
        WideRecordCase{"one_before_all", wide('a')}, WideRecordCase{"one_behind_all", wide('z')},
        WideRecordCase{"hidden_by_a_key_list", R"("key_list": 1, "z": 1, )" + wide('a')},
        WideRecordCase{"hidden_by_handles", R"("subiflist": 1, )" + wide('a')},
        WideRecordCase{"hidden_by_a_mark", R"("inconsistent": 0, )" + wide('a')},
        WideRecordCase{"that_begin_like_an_addition",
                       R"("key_": 1, "key_list_": 2, "inconsistent1": 3, )" + wide('s')}),
    unit::row_name<WideRecordCase>);

TEST(WideRecords, of_different_shapes_follow_one_another) {
  const std::string a = wide('a');
  const std::string b = wide('b');
  InterfaceTable table = interface_table("{\"1\": {\"m\": 1, " + a + "}, \"2\": {" + b +
                                         "}, \"3\": {\"m\": 3, " + a + "}}");
  for (RecordAdditions& its : table.additions) its.key_list = KeyList{Integer(9)};
  const std::string keys = ",\n   \"key_list\": [\"0x9\"]";
  EXPECT_EQ(rendering("3", std::move(table)),
            "{\n \"3\": {\n  \"1\": {\n   " + a + keys + ",\n   \"m\": 1\n  },\n  \"2\": {\n   " +
                b + keys + "\n  },\n  \"3\": {\n   " + a + keys + ",\n   \"m\": 3\n  }\n }\n}\n");
}

}  // namespace
}  // namespace zorbec
