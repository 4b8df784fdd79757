#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "lab/expected_keys.h"
#include "lab/router_plan.h"

namespace zorbec::lab {

// KIND[:COUNT] of the option --defect.
struct DefectOrder {
  std::string kind;
  int count = 1;
};

// One key that is missing from, or too many in, one node's PMDB.
struct PlantedDefect {
  std::string kind;
  std::size_t node;  // index among the router's nodes
  std::uint64_t key;
  // The lines that the check prints for it, without line ends. Empty for a leaked key of a bundle.
  std::vector<std::string> findings;
};

// What makes one node's PMDB differ from the complete one.
struct PmdbChange {
  std::unordered_set<std::uint64_t> missing;
  std::vector<std::uint64_t> leaked;
};

struct Planting {
  std::vector<PlantedDefect> defects;  // in the order in which they were ordered
  std::vector<PmdbChange> changes;     // one for each node
};

extern const std::string_view kLeakedBundle;

// Throws std::invalid_argument if the text is no KIND[:COUNT].
DefectOrder parse_defect(const std::string& text);

// Chooses the keys of all defects of the interface check. `expected` holds the list entries of all
// nodes together: each PMDB is checked against the interfaces of every node. `programmed` is the
// complete PMDB.
//
// Throws std::invalid_argument if a class has fewer keys than are to be missing.
Planting plant_defects(const std::vector<DefectOrder>& orders, const std::vector<Node>& nodes,
                       const std::vector<ExpectedKey>& expected,
                       const std::vector<std::uint64_t>& programmed, Random& random);

// "0x" and lower-case hexadecimal digits without leading zeros.
std::string hex_text(std::uint64_t value);

}  // namespace zorbec::lab
