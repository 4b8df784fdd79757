#pragma once

#include <string_view>
#include <vector>

namespace zorbec {

// Whitespace in the output of the platform's tools: the characters that \s matches in a regular
// expression.
inline constexpr std::string_view kWhitespace = " \t\n\r\f\v";

// Splits a command's output into lines, without their "\n". No line follows the last newline; an
// empty output has no lines. The views point into `text`.
std::vector<std::string_view> split_lines(std::string_view text);

// Splits a line into fields at every run of whitespace. Whitespace at the beginning gives an empty
// first field, whitespace at the end an empty last one. An empty line is one empty field. So there
// is always at least one field. The views point into `line`.
std::vector<std::string_view> split_at_whitespace(std::string_view line);

}  // namespace zorbec
