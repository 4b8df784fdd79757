#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "lab/defect_kinds.h"
#include "lab/expected_keys.h"
#include "lab/router_plan.h"

// Which keys are missing from the PMDBs of a generated router, and which leaked.
namespace zorbec::lab {

// A key that one node's PMDB lacks, or that it holds without an owner.
struct PlantedDefect {
  DefectKind kind;
  std::size_t node;  // index among the router's nodes
  std::uint64_t key;
  // The lines that the check prints for it, without line ends. None for a leaked key of a bundle.
  std::vector<std::string> findings;
};

// What makes one node's PMDB differ from the complete one.
struct PmdbChange {
  std::unordered_set<std::uint64_t> missing;
  std::vector<std::uint64_t> leaked;
};

struct Planting {
  std::vector<PlantedDefect> defects;  // in the order of the options --defect
  std::vector<PmdbChange> changes;     // one for each node
};

// Draws a node and a key for each defect. The orders must be defects of the interface check.
//
// `expected` holds the key list entries of all nodes together, because each PMDB is checked against
// the interfaces of every node. `programmed` is the complete PMDB.
//
// Throws std::invalid_argument if a class has fewer keys than are to be missing.
Planting plant_defects(const std::vector<DefectOrder>& orders, const std::vector<Node>& nodes,
                       const std::vector<ExpectedKey>& expected,
                       const std::vector<std::uint64_t>& programmed, Random& random);

}  // namespace zorbec::lab
