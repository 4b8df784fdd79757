#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "base/file_text.h"

namespace zorbec {

// Looks at a dump's text without asking at every character whether it ends there: each of them may
// read up to kScanSlack bytes behind the text, where zero bytes must stand that belong to none of
// them.
inline constexpr std::size_t kScanSlack = FileText::kSlack;

// How many decimal digits stand at `at`.
inline std::size_t count_digits(const char* at) {
  std::size_t count = 0;
  while (at[count] >= '0' && at[count] <= '9') ++count;
  return count;
}

// How many printable ASCII characters stand at `at` that a JSON text holds as they are: no quote
// and no backslash.
inline std::size_t count_plain_characters(const char* at) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
  std::size_t count = 0;
  while (is_plain(at[count])) ++count;
  return count;
}

// Whether `text`, of at most kScanSlack bytes, stands at `at`.
inline bool stands_at(const char* at, std::string_view text) {
  return std::memcmp(at, text.data(), text.size()) == 0;
}

}  // namespace zorbec
