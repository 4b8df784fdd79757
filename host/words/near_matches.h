#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec {

// The names in `known` that a user most likely meant who typed `name`: those with the fewest
// letters wrong, missing or too many. At most two such letters are allowed, and at least one letter
// must be right. Upper and lower case count as equal. Empty if there are none.
std::vector<std::string> near_matches(std::string_view name, const std::vector<std::string>& known);

}  // namespace zorbec
