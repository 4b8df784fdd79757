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

// How the records of a dump that have the same members in the same order are written: what stands
// between a record's name and its first value, between its values, and behind the last. The values
// are plain scalars, so that with their lengths alone all of them are found again.
struct RecordLayout {
  static constexpr std::size_t kMostMembers = 64;
  static constexpr std::size_t kLongestPiece = kScanSlack;
  static constexpr std::size_t kLongestValue = std::numeric_limits<std::uint8_t>::max();

  std::vector<std::string> before;  // what stands before each value
  std::string closing;
};

// Length of the plain scalar at `at`, its quotes included; 0 if something else stands there: a text
// with escapes or beyond ASCII, a real number, a nested value.
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

// The token of the plain scalar of that length at an offset of the text.
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
