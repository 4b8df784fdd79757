#include "host/words/wrapped_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace zorbec {
namespace {

constexpr std::size_t kColumns = 80;

// Beyond ASCII there are control characters too (C1), and characters that reverse the direction of
// the text.
bool is_no_plain_character(char c) {
  return c < ' ' || c > '~';
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(shown, is_no_plain_character, '?');
  return shown;
}

void append_wrapped(std::string& out, std::string_view first, std::string_view text) {
  const std::string shown = printable(text);
  std::string_view rest = shown;
  const std::size_t width = kColumns - std::min(first.size(), kColumns / 2);
  std::string begin(first);
  do {
    std::size_t end = rest.size();
    if (end > width) {
      end = rest.rfind(' ', width);
      if (end == std::string_view::npos || end == 0) end = std::min(rest.find(' ', 1), rest.size());
    }
    out.append(begin).append(rest.substr(0, end)).append("\n");
    rest.remove_prefix(std::min(rest.find_first_not_of(' ', end), rest.size()));
    begin.assign(first.size(), ' ');
  } while (!rest.empty());
}

std::string joined(const std::vector<std::string>& words) {
  return fmt::format("{}", fmt::join(words, ", "));
}

std::string counted(std::size_t count, std::string_view singular) {
  return fmt::format("{} {}{}", count, singular, count == 1 ? "" : "s");
}

}  // namespace zorbec
