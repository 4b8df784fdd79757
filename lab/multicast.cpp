#include "lab/multicast.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace zorbec::lab {
namespace {

enum class Holder { kRouteProcessor, kLineCard };

struct MulticastKind {
  std::string_view name;
  MulticastFault fault;
  Holder holder;
  bool ends_check = false;
};

// A kind with two rows is planted as either.
const MulticastKind kMulticastKinds[] = {
    {"mcast-rp-handle", MulticastFault::kOtherHandle, Holder::kRouteProcessor},
    {"mcast-missing-bud", MulticastFault::kOtherBud, Holder::kLineCard},
    {"mcast-missing-pmdb", MulticastFault::kNoKey, Holder::kLineCard},
    {"mcast-lc-handle", MulticastFault::kOtherHandle, Holder::kLineCard},
    {"mcast-lc-rif", MulticastFault::kOtherRif, Holder::kLineCard},
    {"mcast-end-rp-pmdb", MulticastFault::kNoKey, Holder::kRouteProcessor, true},
    {"mcast-end-bud", MulticastFault::kNoBuds, Holder::kLineCard, true},
    {"mcast-end-field", MulticastFault::kNoMdtHandle, Holder::kRouteProcessor, true},
    {"mcast-end-field", MulticastFault::kNoRifField, Holder::kLineCard, true},
};

bool can_have(const Node& node, const MulticastKind& kind) {
  const Holder holder = node.is_line_card ? Holder::kLineCard : Holder::kRouteProcessor;
  return holder == kind.holder && node.is_active;
}

MulticastDefect& plant_one(const std::string& name, const std::vector<Node>& nodes,
                           std::size_t route_count, std::vector<MulticastDefects>& planted,
                           Random& random) {
  std::vector<std::pair<const MulticastKind*, std::size_t>> choices;
  for (const MulticastKind& kind : kMulticastKinds) {
    for (std::size_t node = 0; node < nodes.size(); ++node) {
      const bool has_room = planted[node].size() < route_count;
      if (kind.name == name && can_have(nodes[node], kind) && has_room) {
        choices.emplace_back(&kind, node);
      }
    }
  }
  if (choices.empty()) throw std::invalid_argument("not that many multicast routes for " + name);
  const auto [kind, node] = choices[random() % choices.size()];
  for (;;) {
    const auto [place, is_new] = planted[node].try_emplace(
        random() % route_count, MulticastDefect{name, kind->fault, kind->ends_check, {}});
    if (is_new) return place->second;
  }
}

std::string finding(MulticastFault fault, const Node& node, const MulticastRoute& route) {
  const std::string rif = hex_text(route.rif);
  const std::string handle = hex_text(route.mdt_handle);
  switch (fault) {
    case MulticastFault::kOtherHandle:
    case MulticastFault::kOtherRif:
      return "inconsistant data at node " + node.address + " rif:" + rif +
             ", mdt handle:" + std::string(node.is_line_card ? 1 : 29, ' ') + handle;
    case MulticastFault::kNoKey:
      return "Missing Keys in PMDB rif: " + rif + " port ifh: " + handle;
    case MulticastFault::kOtherBud:
      return "Missing Key in mplsmdtbudobj " + rif;
    default:
      return {};
  }
}

}  // namespace

std::vector<MulticastRoute> plan_multicast_routes(int count, Random& random) {
  // Every second number from some point on, all of them below the next power of 16.
  const auto routes_wanted = static_cast<std::uint32_t>(count);
  std::uint32_t smallest = 0x1000;
  while (smallest * 15 / 2 < routes_wanted) smallest *= 16;
  const auto first = static_cast<std::uint32_t>(
      smallest + 2 * (random() % (smallest * 15 / 2 - routes_wanted + 1)));
  std::vector<MulticastRoute> routes;
  for (std::uint32_t i = 0; i < routes_wanted; ++i) {
    routes.push_back({first + 2 * i, 0x20040020 + 0x20 * i, 0x1f + 4 * i});
  }
  // Tunnels come and go: RIFs and handles stand in no order.
  for (std::size_t i = routes.size(); i > 1; --i) {
    std::swap(routes[i - 1].rif, routes[random() % i].rif);
    std::swap(routes[i - 1].mdt_handle, routes[random() % i].mdt_handle);
  }
  return routes;
}

bool is_multicast_defect(std::string_view kind) {
  return std::any_of(std::begin(kMulticastKinds), std::end(kMulticastKinds),
                     [&](const MulticastKind& known) { return known.name == kind; });
}

std::vector<MulticastDefects> plant_multicast_defects(const std::vector<DefectOrder>& orders,
                                                      const std::vector<Node>& nodes,
                                                      const std::vector<MulticastRoute>& routes,
                                                      Random& random) {
  std::vector<MulticastDefects> planted(nodes.size());
  int ends = 0;
  for (const DefectOrder& order : orders) {
    for (int i = 0; i < order.count; ++i) {
      if (plant_one(order.kind, nodes, routes.size(), planted, random).ends_check) ++ends;
      if (ends > 1) throw std::invalid_argument("only one defect can end the multicast check");
    }
  }
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    for (auto& [route, defect] : planted[node]) {
      if (defect.ends_check) return planted;
      defect.finding = finding(defect.fault, nodes[node], routes[route]);
    }
  }
  return planted;
}

}  // namespace zorbec::lab
