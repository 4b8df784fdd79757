#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec::lab {

// Splits at runs of blanks and tabs, as a shell does with plain words.
std::vector<std::string> split_words(std::string_view text);

}  // namespace zorbec::lab
