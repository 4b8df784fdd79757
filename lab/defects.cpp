#include "lab/defects.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>
#include <variant>

#include "lab/words.h"

namespace zorbec::lab {
namespace {

class Planter {
 public:
  Planter(const std::vector<Node>& nodes, const std::vector<ExpectedKey>& expected,
          const std::vector<std::uint64_t>& programmed, Random& random)
      : nodes_(nodes),
        expected_(expected),
        taken_(programmed.begin(), programmed.end()),
        random_(random) {
    planting_.changes.resize(nodes.size());
  }

  void plant_missing(const DefectOrder& order, InterfaceClass interface_class) {
    std::vector<std::uint64_t> keys;
    for (const ExpectedKey& entry : expected_) {
      if (entry.interface_class == interface_class) keys.push_back(entry.key);
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    // A key can be missing once on each node. Without this count the draws below might never end.
    std::size_t left = 0;
    for (const PmdbChange& change : planting_.changes) {
      left += static_cast<std::size_t>(std::count_if(
          keys.begin(), keys.end(), [&](std::uint64_t key) { return !change.missing.count(key); }));
    }
    if (left < static_cast<std::size_t>(order.count)) {
      throw std::invalid_argument("not that many keys for " + name_of(order.kind));
    }
    for (int planted = 0; planted < order.count;) {
      const std::size_t node = draw_node();
      const std::uint64_t key = keys[random_() % keys.size()];
      if (!planting_.changes[node].missing.insert(key).second) continue;
      planting_.defects.push_back({order.kind, node, key, {}});
      ++planted;
    }
  }

  void plant_leaked(const DefectOrder& order, bool is_of_bundle) {
    for (int planted = 0; planted < order.count; ++planted) {
      const std::size_t node = draw_node();
      const std::uint64_t key = draw_stale_key();
      planting_.changes[node].leaked.push_back(key);
      PlantedDefect defect{order.kind, node, key, {}};
      if (!is_of_bundle) {
        defect.findings.push_back("ERROR PMDB Key " + hex_text(key) + " leaked !!!!!!");
      }
      planting_.defects.push_back(defect);
    }
  }

  // The check prints one line for each place in a key list that asks for a missing key, whatever
  // the class of the list.
  Planting finish() {
    std::unordered_map<std::uint64_t, std::vector<PlantedDefect*>> missing;
    for (PlantedDefect& defect : planting_.defects) {
      if (std::holds_alternative<MissingKey>(row_of(defect.kind).what)) {
        missing[defect.key].push_back(&defect);
      }
    }
    for (const ExpectedKey& entry : expected_) {
      const auto found = missing.find(entry.key);
      if (found == missing.end()) continue;
      for (PlantedDefect* defect : found->second) {
        defect->findings.push_back("Missing PMDB Key " + hex_text(entry.key) + " for ifh " +
                                   hex_text(entry.handle) + " in node " +
                                   nodes_[defect->node].name);
      }
    }
    return std::move(planting_);
  }

 private:
  std::size_t draw_node() { return random_() % nodes_.size(); }

  // A key such as a layer-2 interface that was removed leaves behind. No two nodes leak the same
  // key, because the interface manager knows no nodes: a key is a bundle's on all of them or on
  // none.
  std::uint64_t draw_stale_key() {
    for (;;) {
      const std::uint64_t key = 0x40000000U | (random_() % 0x40000000);
      if (taken_.insert(key).second) return key;
    }
  }

  const std::vector<Node>& nodes_;
  const std::vector<ExpectedKey>& expected_;
  std::unordered_set<std::uint64_t> taken_;
  Random& random_;
  Planting planting_;
};

}  // namespace

Planting plant_defects(const std::vector<DefectOrder>& orders, const std::vector<Node>& nodes,
                       const std::vector<ExpectedKey>& expected,
                       const std::vector<std::uint64_t>& programmed, Random& random) {
  Planter planter(nodes, expected, programmed, random);
  for (const DefectOrder& order : orders) {
    const auto& what = row_of(order.kind).what;
    if (const auto* missing = std::get_if<MissingKey>(&what)) {
      planter.plant_missing(order, missing->interface_class);
    } else {
      planter.plant_leaked(order, std::get<LeakedKey>(what).is_of_bundle);
    }
  }
  return planter.finish();
}

}  // namespace zorbec::lab
