#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zorbec {

// How many columns `text` takes on a terminal. Each character counts as one column; `text` must be
// valid UTF-8.
inline std::size_t columns_of(std::string_view text) {
  // A character is counted at its first byte: the bytes that continue it are 10xxxxxx.
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; }));
}

}  // namespace zorbec
