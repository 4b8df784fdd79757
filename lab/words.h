#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zorbec::lab {

// Splits at runs of blanks, tabs and line ends. It knows no quotes.
std::vector<std::string> split_words(std::string_view text);

// The number as "0x" and lower-case hexadecimal digits without leading zeros.
std::string hex_text(std::uint64_t value);

}  // namespace zorbec::lab
