#pragma once

#include <string>
#include <vector>

#include "lab/multicast.h"

// What the multicast tools print on a node with these defects.
namespace zorbec::lab {

// The routing entries of the active route processor.
std::string mrib_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects);

// The bud objects of a line card.
std::string bud_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects);

// What the PMDB holds for the RIF of route number `route`; empty if it holds nothing.
std::string key_text(const std::vector<MulticastRoute>& routes, std::size_t route,
                     const MulticastDefects& defects);

}  // namespace zorbec::lab
