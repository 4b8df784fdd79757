#include "lab/words.h"

#include <algorithm>

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

}  // namespace zorbec::lab
