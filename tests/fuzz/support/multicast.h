#pragma once

#include <string>

namespace zorbec::fuzz {

// What the tools of a router with one route processor and one line card print. Two routes that
// everybody knows; a target replaces one of the texts.
struct MulticastTexts {
  std::string routes =
      "(*,232.0.0.0/8), RPF-ID: 3, MDT Handle: 0x1f, Tunnel RIF: 5\n"
      "(*,232.1.0.0/16), RPF-ID: 4, MDT Handle: 0x2f, Tunnel RIF: 6\n";
  std::string buds =
      "mplsmdtbud(id:7)\n tun_rif => 5\n"
      "mplsmdtbud(id:8)\n tun_rif => 6\n";
  std::string handles = "intf_info.port_ifh: 0x1f\nintf_info.rif: 0x5\n";
};

// Collects from both nodes and compares, as far as it goes; requires that what was collected and
// what was found are well-formed.
void check_multicast(const MulticastTexts& texts);

}  // namespace zorbec::fuzz
