#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/defect_kinds.h"
#include "lab/router_plan.h"

// The multicast state of a generated router and what is planted in it. Like the account of the
// keys, it shares no code with the checker.
namespace zorbec::lab {

// One multicast route. All RIFs of a router have the same number of hexadecimal digits, and so have
// all handles: the check counts a text that is part of another as equal to it.
struct MulticastRoute {
  std::uint32_t rif;         // of the route's tunnel; rif + 1 belongs to no route
  std::uint32_t mdt_handle;  // likewise mdt_handle + 1
  std::uint32_t bud_object;
};

// The routes in the order in which the active route processor lists them and the line cards their
// bud objects. `count` may be up to 100,000.
std::vector<MulticastRoute> plan_multicast_routes(int count, Random& random);

struct MulticastDefect {
  DefectKind kind;
  MulticastFault fault;
  bool ends_check;  // nothing that comes later is found
  // What the check prints for it, without line end; empty if it prints nothing.
  std::string finding;
};

// The defects of one node, by the number of the route.
using MulticastDefects = std::map<std::size_t, MulticastDefect>;

// Chooses nodes and routes for all defects; at most one for each route on each node. The result has
// an element for each node. The check comes to the defects in the order of the nodes, and on each
// node in the order of the routes.
//
// Throws std::invalid_argument if there are not enough routes, or more than one defect ends the
// check.
std::vector<MulticastDefects> plant_multicast_defects(const std::vector<DefectOrder>& orders,
                                                      const std::vector<Node>& nodes,
                                                      const std::vector<MulticastRoute>& routes,
                                                      Random& random);

}  // namespace zorbec::lab
