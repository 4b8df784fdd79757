#include "lab/multicast.h"

#include <stdexcept>
#include <utility>
#include <variant>

#include "lab/words.h"

namespace zorbec::lab {
namespace {

std::optional<MulticastFault> fault_on(const Node& node, const WrongRoute& wrong) {
  if (!node.is_active) return std::nullopt;
  return node.is_line_card ? wrong.on_line_card : wrong.on_route_processor;
}

MulticastDefect& plant_one(DefectKind kind, const std::vector<Node>& nodes, std::size_t route_count,
                           std::vector<MulticastDefects>& planted, Random& random) {
  const auto& wrong = std::get<WrongRoute>(row_of(kind).what);
  std::vector<std::pair<MulticastFault, std::size_t>> choices;
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    const std::optional<MulticastFault> fault = fault_on(nodes[node], wrong);
    const bool has_room = planted[node].size() < route_count;
    if (fault && has_room) choices.emplace_back(*fault, node);
  }
  if (choices.empty()) {
    throw std::invalid_argument("not that many multicast routes for " + name_of(kind));
  }
  const auto [fault, node] = choices[random() % choices.size()];
  for (;;) {
    const auto [place, is_new] = planted[node].try_emplace(
        random() % route_count, MulticastDefect{kind, fault, wrong.ends_check, {}});
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
    // The check ends there, without a line of its own.
    case MulticastFault::kNoRifField:
    case MulticastFault::kNoBuds:
    case MulticastFault::kNoMdtHandle:
      break;
  }
  return {};
}

}  // namespace

std::vector<MulticastRoute> plan_multicast_routes(int count, Random& random) {
  // Every second number from a drawn start. All of them have the same number of hexadecimal digits:
  // they lie between `smallest`, a power of 16, and the next one.
  const auto routes_wanted = static_cast<std::uint32_t>(count);
  std::uint32_t smallest = 0x1000;
  while (smallest * 15 / 2 < routes_wanted) smallest *= 16;
  const auto first = static_cast<std::uint32_t>(
      smallest + 2 * (random() % (smallest * 15 / 2 - routes_wanted + 1)));
  std::vector<MulticastRoute> routes;
  for (std::uint32_t i = 0; i < routes_wanted; ++i) {
    routes.push_back({first + 2 * i, 0x20040020 + 0x20 * i, 0x1f + 4 * i});
  }
  // On a router tunnels come and go, so RIFs and handles have no order.
  for (std::size_t i = routes.size(); i > 1; --i) {
    std::swap(routes[i - 1].rif, routes[random() % i].rif);
    std::swap(routes[i - 1].mdt_handle, routes[random() % i].mdt_handle);
  }
  return routes;
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
