#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec {

// Those of `known` that somebody most likely meant who typed `name`: the nearest ones, at most two
// letters wrong, missing or too many, and at least one right. Upper and lower case are one.
std::vector<std::string> near_matches(std::string_view name, const std::vector<std::string>& known);

}  // namespace zorbec
