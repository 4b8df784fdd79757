#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zorbec {

// Text for a person at a terminal of 80 columns.

// `text` with "?" in place of each byte that is no printable ASCII character. A dump or a report
// may hold control sequences, which a terminal would carry out.
std::string printable(std::string_view text);

// Appends `text`, made printable, in lines of at most 80 columns. Lines are broken at blanks, and
// each ends with a newline. The first line begins with `first`, the others with as many blanks. A
// word that is longer than a line is not broken.
void append_wrapped(std::string& out, std::string_view first, std::string_view text);

// "a, b, c".
std::string joined(const std::vector<std::string>& words);

// "1 interface", "2 interfaces".
std::string counted(std::size_t count, std::string_view singular);

}  // namespace zorbec
