#include "base/error.h"

#include <array>
#include <cerrno>
#include <system_error>

namespace zorbec {

void throw_errno(std::string_view call, std::string_view path) {
  throw_error_number(errno, call, path);
}

void throw_error_number(int error, std::string_view call, std::string_view path) {
  throw std::system_error(error, std::generic_category(),
                          std::string(call) + " " + std::string(path));
}

std::string in_quotes(std::string_view text) {
  // One line of a terminal is enough to recognise a text. Texts from a router have no limit.
  constexpr std::size_t kLongest = 80;
  constexpr std::array<char, 16> kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                            '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
  std::string out = "\"";
  for (const char c : text.substr(0, kLongest)) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (byte < 0x20 || byte >= 0x7f) {
      // Bytes beyond ASCII too: the text need not be valid UTF-8, and a cut may split a character.
      out += "\\x";
      out += kDigits[byte >> 4U];
      out += kDigits[byte & 15U];
    } else {
      out += c;
    }
  }
  out += '"';
  if (text.size() > kLongest) out += "... (" + std::to_string(text.size()) + " bytes)";
  return out;
}

}  // namespace zorbec
