#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec {

// Those of `known` that somebody may have meant who typed `name`, nearest first: at most two
// letters wrong, missing or too many, upper and lower case being one, and one letter right.
std::vector<std::string> near_matches(std::string_view name, const std::vector<std::string>& known);

}  // namespace zorbec
