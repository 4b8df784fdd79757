#include "base/text_lines.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

struct SplitCase : unit::Row {
  std::string_view text;
  std::vector<std::string_view> pieces;
};

class SplitLines : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitLines, gives) {
  EXPECT_EQ(split_lines(GetParam().text), GetParam().pieces);
}

INSTANTIATE_TEST_SUITE_P(
    Output, SplitLines,
    ::testing::Values(SplitCase{"nothing", "", {}}, SplitCase{"one_line", "a b\n", {"a b"}},
                      SplitCase{"last_line_without_newline", "a\nb", {"a", "b"}},
                      SplitCase{"only_a_newline", "\n", {""}},
                      SplitCase{"blank_lines_are_lines", "\na\n\n", {"", "a", ""}},
                      SplitCase{"carriage_return_stays", "a\r\nb\r\n", {"a\r", "b\r"}}),
    unit::row_name<SplitCase>);

class SplitAtWhitespace : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitAtWhitespace, gives) {
  EXPECT_EQ(split_at_whitespace(GetParam().text), GetParam().pieces);
}

INSTANTIATE_TEST_SUITE_P(
    Line, SplitAtWhitespace,
    ::testing::Values(
        SplitCase{"empty_line_is_one_empty_field", "", {""}}, SplitCase{"one_field", "a", {"a"}},
        SplitCase{"runs_count_once", "a  b\t \tc", {"a", "b", "c"}},
        SplitCase{"every_kind_of_whitespace", "a\tb\rc\fd\ve\nf", {"a", "b", "c", "d", "e", "f"}},
        SplitCase{"leading_gives_an_empty_field", "  a", {"", "a"}},
        SplitCase{"trailing_gives_an_empty_field", "a ", {"a", ""}},
        SplitCase{"only_whitespace", "   ", {"", ""}}),
    unit::row_name<SplitCase>);

}  // namespace
}  // namespace zorbec
