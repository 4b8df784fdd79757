#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zorbec {

// Text for a person at a terminal of 80 columns.

// `text` with "?" in place of each byte that is no printable ASCII character: a dump or a report
// may hold what a terminal would obey.
std::string printable(std::string_view text);

// Appends `text` in lines of at most 80 columns, broken at blanks, each ended by a newline. The
// first begins with `first`, the others with as many blanks. A longer word gets a line of its own.
// The text is made printable.
void append_wrapped(std::string& out, std::string_view first, std::string_view text);

// "a, b, c".
std::string joined(const std::vector<std::string>& words);

// "1 interface", "2 interfaces".
std::string counted(std::size_t count, std::string_view singular);

}  // namespace zorbec
