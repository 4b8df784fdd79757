#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zorbec {

// Columns that valid UTF-8 takes on a terminal, one a character.
inline std::size_t columns_of(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; }));
}

}  // namespace zorbec
