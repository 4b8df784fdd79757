#pragma once

#include <string_view>
#include <vector>

namespace zorbec {

// What \s matches in the texts of the platform's tools.
inline constexpr std::string_view kWhitespace = " \t\n\r\f\v";

// The lines of a command's output. A line ends at "\n"; no line follows the last newline, so an
// empty output has no lines.
std::vector<std::string_view> split_lines(std::string_view text);

// The fields of a line, cut at every run of whitespace. Whitespace at its beginning gives an empty
// first field, at its end an empty last one; an empty line is one empty field.
std::vector<std::string_view> split_at_whitespace(std::string_view line);

}  // namespace zorbec
