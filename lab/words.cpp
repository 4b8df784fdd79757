#include "lab/words.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace zorbec::lab {

std::vector<std::string> split_words(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  std::vector<std::string> words;
  for (;;) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return words;
    text.remove_prefix(begin);
    const std::size_t length = std::min(text.find_first_of(kBlanks), text.size());
    words.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
}

std::string hex_text(std::uint64_t value) {
  std::array<char, 16> digits;
  const auto [end, error] = std::to_chars(digits.begin(), digits.end(), value, 16);
  return "0x" + std::string(digits.begin(), end);
}

}  // namespace zorbec::lab
