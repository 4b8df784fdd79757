#include "host/words/wrapped_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace zorbec {
namespace {

std::string wrapped(std::string_view first, std::string_view text) {
  std::string out;
  append_wrapped(out, first, text);
  return out;
}

TEST(WrappedText, short_text_is_one_line) {
  EXPECT_EQ(wrapped("  held by  ", "1, 2"), "  held by  1, 2\n");
}

TEST(WrappedText, eighty_columns_fit) {
  const std::string word(38, 'a');
  EXPECT_EQ(wrapped("- ", word + " " + word + "b"), "- " + word + " " + word + "b\n");
  EXPECT_EQ(wrapped("- ", word + " " + word + "bc"), "- " + word + "\n  " + word + "bc\n");
}

TEST(WrappedText, long_word_stands_alone) {
  const std::string word(200, 'a');
  EXPECT_EQ(wrapped("  ", "x " + word + " y"), "  x\n  " + word + "\n  y\n");
}

TEST(WrappedText, empty_text_is_a_line) {
  EXPECT_EQ(wrapped("a", ""), "a\n");
}

TEST(WrappedText, a_terminal_is_told_nothing) {
  EXPECT_EQ(wrapped("", "a\x1b[2J\r\nb\x7f"), "a?[2J??b?\n");
}

TEST(WrappedText, counts_say_one_or_many) {
  EXPECT_EQ(counted(1, "interface"), "1 interface");
  EXPECT_EQ(counted(0, "interface"), "0 interfaces");
}

}  // namespace
}  // namespace zorbec
