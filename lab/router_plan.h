#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "lab/expected_keys.h"
#include "lab/interfaces.h"

namespace zorbec::lab {

struct RouterOptions {
  std::uint64_t seed = 1;
  int model = 1;
  std::optional<int> line_cards;  // by default 2, or the one node of a single-processor model
  bool standby = false;
  int interfaces = 100;  // on each line card, bundle members and logical interfaces included
  // By default shares of `interfaces`; physical sub-interfaces take what the others leave.
  std::optional<int> physical;  // ports that belong to no bundle
  std::optional<int> physical_subifs;
  std::optional<int> bundles;
  std::optional<int> members;  // ports of each bundle on each line card
  std::optional<int> bundle_subifs;
  std::optional<int> bvis;
  std::optional<int> gre;
  int l2_share = 25;  // percent of the interfaces that are layer 2
  int bundle_scale = 256;
  std::optional<int> multicast;  // multicast routes; by default no multicast state at all
};

// The same with every number decided.
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

// Repeatable everywhere: its numbers are the same on every machine, and only whole numbers are
// drawn from it.
using Random = std::mt19937_64;

// Throws std::invalid_argument if the options do not go together.
RouterSize decide_size(const RouterOptions& options);

// All nodes of the router, route processors first. Ports and physical sub-interfaces are a card's
// own; bundles, their sub-interfaces, BVIs and tunnels are the same on every node with a PIDB.
//
// No interface calls for the key 0, and no key of a list is at the same time another interface's
// handle.
std::vector<Node> plan_nodes(const RouterOptions& options, Random& random);

}  // namespace zorbec::lab
