#include "base/text_lines.h"

#include <algorithm>

namespace zorbec {

std::vector<std::string_view> split_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::vector<std::string_view> split_at_whitespace(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    const std::size_t end = line.find_first_of(kWhitespace);
    fields.push_back(line.substr(0, end));
    if (end == std::string_view::npos) return fields;
    const std::size_t next = line.find_first_not_of(kWhitespace, end);
    line.remove_prefix(std::min(next, line.size()));
  }
}

}  // namespace zorbec
