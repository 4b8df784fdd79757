#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "base/file_text.h"

namespace zorbec {

// The functions below scan a dump's text without checking at every character whether the text ends
// there. kScanSlack zero bytes must follow the text (FileText has them): a zero byte is no digit
// and no plain character, so every scan stops at the first of them.
inline constexpr std::size_t kScanSlack = FileText::kSlack;

// The number of decimal digits at `at`.
inline std::size_t count_digits(const char* at) {
  std::size_t count = 0;
  while (at[count] >= '0' && at[count] <= '9') ++count;
  return count;
}

// The number of characters at `at` that a JSON string contains unescaped: printable ASCII except
// the quote and the backslash.
inline std::size_t count_plain_characters(const char* at) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
  std::size_t count = 0;
  while (is_plain(at[count])) ++count;
  return count;
}

// Whether the bytes at `at` are `text`, which must not be longer than kScanSlack.
inline bool stands_at(const char* at, std::string_view text) {
  return std::memcmp(at, text.data(), text.size()) == 0;
}

}  // namespace zorbec
