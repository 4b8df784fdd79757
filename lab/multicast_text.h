#pragma once

#include <string>
#include <vector>

#include "lab/multicast.h"

// What the multicast tools print on a node. `routes` are those of the router, `defects` those of
// the node.
namespace zorbec::lab {

// The routing entries of the active route processor.
std::string mrib_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects);

// The bud objects of a line card.
std::string bud_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects);

// The PMDB's answer for the RIF of one route, a number from 0; empty if it holds no such key.
std::string key_text(const std::vector<MulticastRoute>& routes, std::size_t route,
                     const MulticastDefects& defects);

}  // namespace zorbec::lab
