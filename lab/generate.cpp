#include "lab/generate.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "lab/defect_kinds.h"
#include "lab/defects.h"
#include "lab/dump_text.h"
#include "lab/expected_keys.h"
#include "lab/multicast.h"
#include "lab/multicast_text.h"
#include "lab/posix.h"
#include "lab/words.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;

struct DumpFile {
  InterfaceClass interface_class;
  const char* name;
};

constexpr std::array<DumpFile, 6> kDumpFiles = {{
    {InterfaceClass::kPhysical, "pidb_physical.dat"},
    {InterfaceClass::kPhysicalSubif, "pidb_physical_subif.dat"},
    {InterfaceClass::kBundle, "pidb_bundle.dat"},
    {InterfaceClass::kBundleSubif, "pidb_bundle_subif.dat"},
    {InterfaceClass::kBvi, "pidb_bvi_intf.dat"},
    {InterfaceClass::kGre, "pidb_gre_intf.dat"},
}};

const char* model_text(int model) {
  constexpr std::array kTexts = {"KVR-9900",      "KVR-330",  "KVR-7700", "KVR-310 ()", "K310",
                                 "T4400-61QX-M2", "KVR-78Q4", "DDC",      "K310X"};
  return kTexts.at(static_cast<std::size_t>(model - 1));
}

std::string banner(int model) {
  return "Router software, release 7.5.2\n\n" + std::string(model_text(model)) +
         " (x86_64) processor, 32 GB of memory\n";
}

std::string node_table(const std::vector<Node>& nodes, int model) {
  if (is_single_processor(model)) return {};
  // On model 2 the checker takes every line for a node, so there is no header.
  std::string table =
      model == 2 ? "" : "Name         Type  Role       Partner      State       Address\n";
  const auto full_name = [](const Node& node) { return "0/" + node.name + "/CPU0"; };
  const bool has_standby =
      std::any_of(nodes.begin(), nodes.end(), [](const Node& node) { return !node.is_active; });
  for (const Node& node : nodes) {
    const std::string partner =
        node.is_line_card || !has_standby ? "NONE" : full_name(nodes[node.is_active ? 1 : 0]);
    table += full_name(node) + (node.is_line_card ? "  LC" : "  RP") +
             (node.is_active ? " (ACTIVE)" : " (STANDBY)") + "  " + partner + "  NODE READY  " +
             node.address + "\n";
  }
  return table;
}

std::string running_configuration(const std::vector<Interface>& interfaces) {
  std::string text = "name: lab\n";
  for (const Interface& interface : interfaces) {
    text += "interface " + interface.name;
    if (interface.is_member) text += ": bundle id " + std::to_string(interface.lagid);
    text += "\n";
  }
  return text;
}

// The complete PMDB: it holds the keys that the interfaces of all nodes call for.
std::vector<std::uint64_t> programmed_keys(const std::vector<NodeKeys>& nodes, Random& random) {
  std::vector<std::uint64_t> keys;
  for (const NodeKeys& node : nodes) {
    for (const ExpectedKey& entry : node.listed) keys.push_back(entry.key);
    keys.insert(keys.end(), node.member_handles.begin(), node.member_handles.end());
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  // The hardware's tables are hashed, so a dump has no order.
  for (std::size_t i = keys.size(); i > 1; --i) std::swap(keys[i - 1], keys[random() % i]);
  return keys;
}

void write_pidb(const Node& node, const fs::path& dumps) {
  for (const DumpFile& file : kDumpFiles) {
    // Without tunnels the router has no tunnel database, and no file of it.
    const auto is_tunnel = [](const Interface& interface) {
      return interface.interface_class == InterfaceClass::kGre;
    };
    if (file.interface_class == InterfaceClass::kGre &&
        std::none_of(node.interfaces.begin(), node.interfaces.end(), is_tunnel)) {
      continue;
    }
    write_text(dumps / file.name, pidb_text(node.interfaces, file.interface_class));
  }
}

nlohmann::ordered_json router_description(const RouterOptions& options) {
  const RouterSize size = decide_size(options);
  nlohmann::ordered_json router;
  router["seed"] = options.seed;
  router["model"] = options.model;
  router["line_cards"] = size.line_cards;
  router["standby"] = options.standby;
  router["physical"] = size.physical;
  router["physical_subifs"] = size.physical_subifs;
  router["bundles"] = size.bundles;
  router["members"] = size.members;
  router["bundle_subifs"] = size.bundle_subifs;
  router["bvis"] = size.bvis;
  router["gre"] = size.gre;
  router["l2_share"] = options.l2_share;
  router["bundle_scale"] = options.bundle_scale;
  if (options.multicast) router["multicast"] = *options.multicast;
  return router;
}

// The multicast routes of the router and the defects in them.
struct Multicast {
  std::vector<MulticastRoute> routes;
  std::vector<MulticastDefects> defects;  // one element for each node
};

Multicast plan_multicast(const RouterOptions& options, const std::vector<Node>& nodes,
                         const std::vector<DefectOrder>& orders) {
  // A second generator with the same seed: the interfaces are the same with and without routes.
  Random random(options.seed);
  Multicast multicast;
  multicast.routes = plan_multicast_routes(options.multicast.value_or(0), random);
  multicast.defects = plant_multicast_defects(orders, nodes, multicast.routes, random);
  return multicast;
}

// A standby route processor lists no routes, but its PMDB holds their keys.
void write_multicast(const Multicast& multicast, std::size_t node_index, const Node& node,
                     const fs::path& node_folder) {
  const MulticastDefects& defects = multicast.defects[node_index];
  fs::create_directory(node_folder / "out");
  if (node.is_line_card) {
    write_text(node_folder / "out" / "fwdobj_print", bud_text(multicast.routes, defects));
  } else if (node.is_active) {
    write_text(node_folder / "out" / "mcroute_print", mrib_text(multicast.routes, defects));
  }
  fs::create_directory(node_folder / "rifs");
  for (std::size_t i = 0; i < multicast.routes.size(); ++i) {
    write_text(node_folder / "rifs" / hex_text(multicast.routes[i].rif),
               key_text(multicast.routes, i, defects));
  }
}

nlohmann::ordered_json multicast_description(const Multicast& multicast,
                                             const std::vector<Node>& nodes) {
  nlohmann::ordered_json descriptions = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (const auto& [route, defect] : multicast.defects[i]) {
      nlohmann::ordered_json entry;
      entry["kind"] = name_of(defect.kind);
      entry["node"] = nodes[i].name;
      entry["entry"] = route;
      entry["rif"] = hex_text(multicast.routes[route].rif);
      entry["mdt_handle"] = hex_text(multicast.routes[route].mdt_handle);
      if (defect.ends_check) entry["ends_check"] = true;
      entry["findings"] = nlohmann::ordered_json::array();
      if (!defect.finding.empty()) entry["findings"].push_back({{"text", defect.finding}});
      descriptions.push_back(entry);
    }
  }
  return descriptions;
}

std::string planted_text(const RouterOptions& options, const std::vector<Node>& nodes,
                         const std::vector<PlantedDefect>& defects, const Multicast& multicast) {
  nlohmann::ordered_json planted;
  planted["version"] = 1;
  planted["router"] = router_description(options);
  planted["defects"] = nlohmann::ordered_json::array();
  for (const PlantedDefect& defect : defects) {
    nlohmann::ordered_json entry;
    entry["kind"] = name_of(defect.kind);
    entry["node"] = nodes[defect.node].name;
    entry["key"] = defect.key;
    entry["hex"] = hex_text(defect.key);
    entry["findings"] = nlohmann::ordered_json::array();
    for (const std::string& line : defect.findings) {
      entry["findings"].push_back({{"text", line}});
    }
    planted["defects"].push_back(entry);
  }
  for (const nlohmann::ordered_json& entry : multicast_description(multicast, nodes)) {
    planted["defects"].push_back(entry);
  }
  return planted.dump(1) + "\n";
}

void prepare_folder(const fs::path& folder) {
  fs::create_directories(folder);
  if (!fs::is_empty(folder)) {
    throw std::invalid_argument("the folder is not empty: " + folder.string());
  }
}

}  // namespace

void generate_router(const std::string& folder, const RouterOptions& options,
                     const std::vector<std::string>& defects) {
  std::vector<DefectOrder> orders;
  std::transform(defects.begin(), defects.end(), std::back_inserter(orders), parse_defect);
  const auto first_multicast = std::stable_partition(
      orders.begin(), orders.end(),
      [](const DefectOrder& order) { return !is_multicast_defect(order.kind); });

  Random random(options.seed);
  const std::vector<Node> nodes = plan_nodes(options, random);
  std::vector<NodeKeys> node_keys;
  std::vector<ExpectedKey> expected;
  for (const Node& node : nodes) {
    node_keys.push_back(
        expected_keys(node.interfaces, node.slot, {options.model, options.bundle_scale}));
    const std::vector<ExpectedKey>& listed = node_keys.back().listed;
    expected.insert(expected.end(), listed.begin(), listed.end());
  }
  const std::vector<std::uint64_t> keys = programmed_keys(node_keys, random);
  const Planting planting =
      plant_defects({orders.begin(), first_multicast}, nodes, expected, keys, random);
  const Multicast multicast = plan_multicast(options, nodes, {first_multicast, orders.end()});

  const fs::path root = folder;
  prepare_folder(root);
  write_text(root / "banner.txt", banner(options.model));
  write_text(root / "nodemap.txt", node_table(nodes, options.model));
  write_text(root / "config.txt", running_configuration(nodes.back().interfaces));
  write_text(root / "bundle-scale.txt",
             "hw-module profile bundle-scale " + std::to_string(options.bundle_scale) + "\n");
  write_text(root / "planted.json", planted_text(options, nodes, planting.defects, multicast));
  fs::create_directory(root / "ifmgr");
  for (const PlantedDefect& defect : planting.defects) {
    if (defect.kind != DefectKind::kLeakedBundle) continue;
    write_text(root / "ifmgr" / std::to_string(defect.key),
               "Bundle-Ether" + std::to_string(1 + defect.key % 99) + "  state down  mtu 1514\n");
  }
  const PmdbText pmdb(keys);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const fs::path node_folder = root / "nodes" / nodes[i].address;
    fs::create_directories(node_folder / "dumps");
    if (nodes[i].has_pidb) write_pidb(nodes[i], node_folder / "dumps");
    write_text(node_folder / "dumps" / "pmdb.dat", pmdb.with(planting.changes[i]));
    write_text(node_folder / "uptime", std::to_string(86400 + 7 * i) + ".25 54321.00\n");
    if (options.multicast) write_multicast(multicast, i, nodes[i], node_folder);
  }
}

}  // namespace zorbec::lab
