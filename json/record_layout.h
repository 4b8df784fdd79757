#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "json/scanning.h"
#include "json/token.h"

namespace zorbec {

// What records with the same members in the same order have in common: all of their text except the
// values. Of the record
//
//   "917504": {"port": 12, "rif": "0x77"}
//
// before[0] is `": {"port": `, before[1] is `, "rif": ` and closing is `}`. (before[0] begins with
// the quote that ends the record's name.) The values are plain scalars. With the layout and the
// length of each value, all values of a record can be found again.
struct RecordLayout {
  // The table reader gives up beyond these limits. A piece is compared without looking for the end
  // of the file, so it must fit in the zero bytes behind it; a value's length is kept in one byte.
  static constexpr std::size_t kMostMembers = 64;
  static constexpr std::size_t kLongestPiece = kScanSlack;
  static constexpr std::size_t kLongestValue = std::numeric_limits<std::uint8_t>::max();

  std::vector<std::string> before;  // the text before each value
  std::string closing;              // the text behind the last value
};

// The length of the plain scalar at `at`, including its quotes. 0 if there is something else: a
// text with escapes or characters beyond ASCII, or a nested value. Of a real number it gives the
// length of its first digits; the caller fails at what follows them. May read up to kScanSlack
// bytes behind the text (json/scanning.h).
inline std::size_t scalar_length(const char* at) {
  const std::size_t sign = *at == '-' ? 1 : 0;
  if (const std::size_t digits = count_digits(at + sign); digits > 0) {
    return at[sign] == '0' && digits > 1 ? 0 : sign + digits;
  }
  if (*at == '"') {
    const std::size_t characters = count_plain_characters(at + 1);
    return at[1 + characters] == '"' ? characters + 2 : 0;
  }
  for (const std::string_view word : {"true", "false", "null"}) {
    if (std::strncmp(at, word.data(), word.size()) == 0) return word.size();
  }
  return 0;
}

// The token of the plain scalar at offset `at` of `text`; `length` is from scalar_length().
inline JsonToken scalar_token(const char* text, std::uint32_t at, std::uint32_t length) {
  switch (text[at]) {
    case '"':
      return {JsonKind::kText, length - 2, at + 1};
    case 't':
      return {JsonKind::kTrue, 0, 0};
    case 'f':
      return {JsonKind::kFalse, 0, 0};
    case 'n':
      return {JsonKind::kNull, 0, 0};
    default:
      return {JsonKind::kInteger, length, at};
  }
}

}  // namespace zorbec
