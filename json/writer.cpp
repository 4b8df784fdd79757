#include "json/writer.h"

#include <array>

namespace zorbec {

void append_json_text(std::string& out, std::string_view text) {
  constexpr std::array<char, 16> kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                            '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
  // Bytes from 0x80 on are parts of UTF-8 characters and are written as they are.
  const auto is_plain = [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
  };
  out += '"';
  while (!text.empty()) {
    const auto plain_end = std::ranges::find_if_not(text, is_plain);
    const auto plain = static_cast<std::size_t>(plain_end - text.begin());
    out.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) break;
    const char c = text.front();
    text.remove_prefix(1);
    switch (c) {
      case '"':
      case '\\':
        out += '\\';
        out += c;
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += "\\u00";
        out += kDigits[static_cast<unsigned char>(c) >> 4U];
        out += kDigits[static_cast<unsigned char>(c) & 15U];
    }
  }
  out += '"';
}

}  // namespace zorbec
