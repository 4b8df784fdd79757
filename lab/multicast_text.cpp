#include "lab/multicast_text.h"

#include "lab/words.h"

namespace zorbec::lab {
namespace {

bool has_fault(const MulticastDefects& defects, std::size_t route, MulticastFault fault) {
  const auto found = defects.find(route);
  return found != defects.end() && found->second.fault == fault;
}

// The last three octets of the addresses of a route.
std::string octets(std::size_t route) {
  return std::to_string(route / 62500) + "." + std::to_string(route / 250 % 250) + "." +
         std::to_string(1 + route % 250);
}

}  // namespace

std::string mrib_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects) {
  std::string text = "multicast routes: " + std::to_string(routes.size()) + "\n";
  for (std::size_t i = 0; i < routes.size(); ++i) {
    text += "\nroute 10." + octets(i) + " to 232." + octets(i) + "\n  RPF-ID: 3";
    if (!has_fault(defects, i, MulticastFault::kNoMdtHandle)) {
      text += ", MDT Handle: " + hex_text(routes[i].mdt_handle);
    }
    text += ", Tunnel RIF: " + std::to_string(routes[i].rif) +
            ", label: " + std::to_string(1000 + i) + "\n  age: 3723 s, leads to 2 interfaces\n";
  }
  return text;
}

std::string bud_text(const std::vector<MulticastRoute>& routes, const MulticastDefects& defects) {
  std::string text = "object type 0xbe\n";
  for (std::size_t i = 0; i < routes.size(); ++i) {
    if (has_fault(defects, i, MulticastFault::kNoBuds)) break;
    const bool is_other = has_fault(defects, i, MulticastFault::kOtherBud);
    text += "\nmplsmdtbud(id: " + hex_text(routes[i].bud_object) + ")\n  label => " +
            std::to_string(1000 + i) + "\n  tun_rif => " +
            std::to_string(routes[i].rif + (is_other ? 1 : 0)) + "\n  users => 1\n";
  }
  return text;
}

std::string key_text(const std::vector<MulticastRoute>& routes, std::size_t route,
                     const MulticastDefects& defects) {
  if (has_fault(defects, route, MulticastFault::kNoKey)) return {};
  const auto [rif, handle, bud_object] = routes[route];
  const bool has_other_handle = has_fault(defects, route, MulticastFault::kOtherHandle);
  std::string text =
      "key type: tunnel\n  intf_info.port_ifh: " + hex_text(handle + (has_other_handle ? 1 : 0)) +
      "\n";
  if (has_fault(defects, route, MulticastFault::kNoRifField)) return text;
  const bool has_other_rif = has_fault(defects, route, MulticastFault::kOtherRif);
  return text + "  intf_info.rif: " + hex_text(rif + (has_other_rif ? 1 : 0)) +
         "\n  intf_info.mtu: 1500\n";
}

}  // namespace zorbec::lab
