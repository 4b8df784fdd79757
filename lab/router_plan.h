#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "lab/expected_keys.h"
#include "lab/interfaces.h"

// What a generated router is made of: its nodes and their interfaces.
namespace zorbec::lab {

// The options of `zorbec-lab generate`.
struct RouterOptions {
  std::uint64_t seed = 1;
  int model = 1;
  std::optional<int> line_cards;  // by default 2, or the one node of a single-processor model
  bool standby = false;
  int interfaces = 100;  // of each line card, with bundle members and logical interfaces
  // By default each class is a share of `interfaces`; physical sub-interfaces are the rest.
  std::optional<int> physical;  // ports that belong to no bundle
  std::optional<int> physical_subifs;
  std::optional<int> bundles;
  std::optional<int> members;  // ports of each bundle on each line card
  std::optional<int> bundle_subifs;
  std::optional<int> bvis;
  std::optional<int> gre;
  int l2_share = 25;  // percent of the interfaces that are layer 2
  int bundle_scale = 256;
  std::optional<int> multicast;  // multicast routes; by default no multicast files
};

// The numbers of the options after the defaults are applied.
struct RouterSize {
  int line_cards;
  int physical;
  int physical_subifs;
  int bundles;
  int members;
  int bundle_subifs;
  int bvis;
  int gre;
};

struct Node {
  std::string name;
  std::string address;
  bool is_line_card = true;
  bool is_active = true;
  bool has_pidb = true;
  unsigned slot = 0;
  std::vector<Interface> interfaces{};  // empty without a PIDB
};

// Gives the same numbers on every machine. Draw from it with % only: the distributions of the
// standard library differ from one library to another.
using Random = std::mt19937_64;

// Applies the defaults. Throws std::invalid_argument if the options do not fit together.
RouterSize decide_size(const RouterOptions& options);

// All nodes of the router, route processors first. A line card has its own ports and physical
// sub-interfaces. Bundles, their sub-interfaces, BVIs and tunnels are the same on every node with a
// PIDB.
//
// No interface calls for the key 0, and no key in a list is the handle of another interface.
//
// Throws std::invalid_argument if the options do not fit together.
std::vector<Node> plan_nodes(const RouterOptions& options, Random& random);

}  // namespace zorbec::lab
