#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/defect_kinds.h"
#include "lab/router_plan.h"

// The multicast routes of a generated router and the defects in them. Shares no code with the
// checker.
namespace zorbec::lab {

// One multicast route.
//
// All RIFs of a router have the same number of hexadecimal digits, and so have all handles. The
// check takes two texts for equal if one contains the other; texts of equal length contain each
// other only if they are equal.
struct MulticastRoute {
  std::uint32_t rif;         // of the route's tunnel; rif + 1 is no other route's
  std::uint32_t mdt_handle;  // mdt_handle + 1 is no other route's
  std::uint32_t bud_object;
};

// The routes, in the order in which the active route processor lists them and the line cards list
// their bud objects. `count` is at most 100,000.
std::vector<MulticastRoute> plan_multicast_routes(int count, Random& random);

struct MulticastDefect {
  DefectKind kind;
  MulticastFault fault;
  bool ends_check;  // the check finds nothing that comes later
  // The line that the check prints for it, without line end; empty if it prints none.
  std::string finding;
};

// The defects of one node, by the number of the route.
using MulticastDefects = std::map<std::size_t, MulticastDefect>;

// Draws a node and a route for each defect. The orders must be defects of the multicast check. A
// route has at most one defect on each node.
//
// The result has one element for each node. The check comes to the defects in the order of the
// nodes, and on each node in the order of the routes. A defect that comes after the one that ends
// the check has no finding.
//
// Throws std::invalid_argument if there are not enough routes, or if more than one defect ends the
// check.
std::vector<MulticastDefects> plant_multicast_defects(const std::vector<DefectOrder>& orders,
                                                      const std::vector<Node>& nodes,
                                                      const std::vector<MulticastRoute>& routes,
                                                      Random& random);

}  // namespace zorbec::lab
