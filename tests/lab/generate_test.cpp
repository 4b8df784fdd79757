// Generated routers, read back from their files.

#include "lab/generate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "lab/defect_kinds.h"
#include "lab/expected_keys.h"
#include "lab/words.h"
#include "lab_process.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const std::pair<InterfaceClass, const char*> kDumps[] = {
    {InterfaceClass::kPhysical, "pidb_physical.dat"},
    {InterfaceClass::kPhysicalSubif, "pidb_physical_subif.dat"},
    {InterfaceClass::kBundle, "pidb_bundle.dat"},
    {InterfaceClass::kBundleSubif, "pidb_bundle_subif.dat"},
    {InterfaceClass::kBvi, "pidb_bvi_intf.dat"},
    {InterfaceClass::kGre, "pidb_gre_intf.dat"},
};

std::map<std::string, std::string> all_files(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[entry.path().lexically_relative(folder)] = file_text(entry.path());
    }
  }
  return files;
}

std::vector<Interface> read_pidb(const fs::path& dumps) {
  std::vector<Interface> interfaces;
  for (const auto& [interface_class, file] : kDumps) {
    if (!fs::exists(dumps / file) || fs::is_empty(dumps / file)) continue;
    const json table = json::parse(file_text(dumps / file));
    for (const auto& [handle, record] : table.items()) {
      Interface interface {
        interface_class, static_cast<std::uint32_t>(std::stoul(handle)), record.at("intf_name")
      };
      if (interface_class == InterfaceClass::kGre) {
        interface.erif = record.at("erif");
        interface.drif = record.at("drif");
      } else {
        interface.rif = record.at("rif");
        interface.lif = record.at("lif");
        interface.ssp = record.at("ssp");
        interface.slot = record.at("slot");
        interface.is_l2 = record.at("is_l2") != 0;
        interface.is_member = record.at("is_member") != 0;
        interface.bundle = record.at("bundle_ifh");
        interface.memid = record.at("memid");
        interface.lagid = record.at("lagid");
        interface.parent = record.at("parent_ifh");
      }
      interfaces.push_back(interface);
    }
  }
  return interfaces;
}

struct ReadRouter {
  std::map<std::string, std::set<std::uint64_t>> pmdbs;  // by address
  std::vector<ExpectedKey> listed;                       // of all nodes
  std::set<std::uint64_t> member_handles;
};

ReadRouter read_router(const fs::path& folder, int model, int bundle_scale) {
  ReadRouter router;
  for (const auto& node : fs::directory_iterator(folder / "nodes")) {
    const std::string address = node.path().filename();
    const json pmdb = json::parse(file_text(node.path() / "dumps/pmdb.dat"));
    for (const auto& [key, entry] : pmdb.items()) {
      EXPECT_TRUE(router.pmdbs[address].insert(std::stoull(key)).second) << "twice: " << key;
    }
    const std::vector<Interface> interfaces = read_pidb(node.path() / "dumps");
    // A card's slot is in its ports' records.
    const unsigned slot = interfaces.empty() ? 0 : interfaces.front().slot;
    const NodeKeys keys = expected_keys(interfaces, slot, {model, bundle_scale});
    router.listed.insert(router.listed.end(), keys.listed.begin(), keys.listed.end());
    router.member_handles.insert(keys.member_handles.begin(), keys.member_handles.end());
  }
  return router;
}

// The lines that the interface check must print for one node, by walking everything it compares.
std::multiset<std::string> findings(const ReadRouter& router, const std::string& address,
                                    const std::string& name,
                                    const std::set<std::uint64_t>& bundle_keys) {
  const std::set<std::uint64_t>& pmdb = router.pmdbs.at(address);
  std::multiset<std::string> lines;
  std::set<std::uint64_t> claimed;
  for (const ExpectedKey& entry : router.listed) {
    claimed.insert(entry.key);
    EXPECT_NE(entry.key, 0U);
    if (!pmdb.count(entry.key)) {
      lines.insert("Missing PMDB Key " + hex_text(entry.key) + " for ifh " +
                   hex_text(entry.handle) + " in node " + name);
    }
  }
  for (const std::uint64_t handle : router.member_handles) {
    claimed.insert(handle);
    EXPECT_TRUE(pmdb.count(handle)) << "no handle of a member: " << handle;
  }
  for (const std::uint64_t key : pmdb) {
    if (!claimed.count(key) && !bundle_keys.count(key)) {
      lines.insert("ERROR PMDB Key " + hex_text(key) + " leaked !!!!!!");
    }
  }
  return lines;
}

std::map<std::string, std::string> node_names(const fs::path& folder, int model) {
  if (is_single_processor(model)) return {{"127.0.0.1", "RP0"}};
  std::map<std::string, std::string> names;
  std::istringstream lines(file_text(folder / "nodemap.txt"));
  for (std::string line; std::getline(lines, line);) {
    if (line.find("ACTIVE") == std::string::npos && line.find("STANDBY") == std::string::npos) {
      EXPECT_NE(model, 2) << "on model 2 every line must be a node: " << line;
      continue;
    }
    std::istringstream words(line);
    std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
    EXPECT_EQ(fields.size(), 7U) << line;
    const std::string full = fields.at(0);
    names[fields.at(6)] = full.substr(2, full.find('/', 2) - 2);
  }
  return names;
}

class GeneratedModel : public ::testing::TestWithParam<int> {};

TEST_P(GeneratedModel, is_consistent) {
  const TestFolder folder;
  RouterOptions options;
  options.model = GetParam();
  options.standby = GetParam() % 2 == 0;
  options.bundle_scale = GetParam() % 2 == 0 ? 1024 : 2048;
  generate_router(folder.path(), options, {});
  const ReadRouter router = read_router(folder.path(), options.model, options.bundle_scale);
  const auto names = node_names(folder.path(), options.model);
  ASSERT_EQ(names.size(), router.pmdbs.size());
  EXPECT_FALSE(router.member_handles.empty());
  for (const auto& [address, name] : names) {
    EXPECT_EQ(findings(router, address, name, {}), std::multiset<std::string>()) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(All, GeneratedModel, ::testing::Range(1, 10));

class GeneratedDefect : public ::testing::TestWithParam<std::string> {};

TEST_P(GeneratedDefect, is_planted) {
  const std::string& name = GetParam();
  const TestFolder folder;
  RouterOptions options;
  options.multicast = 3;
  generate_router(folder.path(), options, {name});
  const json defects = json::parse(file_text(folder.path() / "planted.json")).at("defects");
  ASSERT_EQ(defects.size(), 1U);
  EXPECT_EQ(defects[0].at("kind"), name);
  const TestFolder without;
  generate_router(without.path(), options, {});
  EXPECT_NE(all_files(folder.path() / "nodes"), all_files(without.path() / "nodes"));
}

std::vector<std::string> defect_names() {
  std::vector<std::string> names;
  for (const DefectKindRow& row : kDefectKinds) names.emplace_back(row.name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(All, GeneratedDefect, ::testing::ValuesIn(defect_names()),
                         [](const auto& row) {
                           std::string name = row.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(GeneratedRouter, has_exactly_the_planted_defects) {
  const TestFolder folder;
  RouterOptions options;
  options.seed = 7;
  options.standby = true;
  options.gre = 5;
  options.bvis = 5;
  generate_router(
      folder.path(), options,
      {"missing-physical:5", "missing-physical-subif:5", "missing-bundle:5",
       "missing-bundle-subif:5", "missing-bvi:3", "missing-gre", "leaked:4", "leaked-bundle:3"});
  const json planted = json::parse(file_text(folder.path() / "planted.json"));
  EXPECT_EQ(planted.at("version"), 1);
  EXPECT_EQ(planted.at("router").at("seed"), 7);
  std::map<std::string, int> kinds;
  std::map<std::string, std::multiset<std::string>> planted_lines;  // by node name
  std::set<std::uint64_t> bundle_keys;
  for (const json& defect : planted.at("defects")) {
    const std::string kind = defect.at("kind");
    ++kinds[kind];
    const std::uint64_t key = defect.at("key");
    EXPECT_EQ(defect.at("hex"), hex_text(key));
    EXPECT_EQ(defect.at("findings").empty(), kind == "leaked-bundle");
    for (const json& finding : defect.at("findings")) {
      planted_lines[defect.at("node")].insert(finding.at("text").get<std::string>());
    }
    if (kind != "leaked-bundle") continue;
    bundle_keys.insert(key);
    const std::string text = file_text(folder.path() / "ifmgr" / std::to_string(key));
    EXPECT_NE(text.find("Bundle-Ether"), std::string::npos);
  }
  EXPECT_EQ(kinds, (std::map<std::string, int>{{"missing-physical", 5},
                                               {"missing-physical-subif", 5},
                                               {"missing-bundle", 5},
                                               {"missing-bundle-subif", 5},
                                               {"missing-bvi", 3},
                                               {"missing-gre", 1},
                                               {"leaked", 4},
                                               {"leaked-bundle", 3}}));
  const ReadRouter router = read_router(folder.path(), options.model, options.bundle_scale);
  for (const auto& [address, name] : node_names(folder.path(), options.model)) {
    EXPECT_EQ(findings(router, address, name, bundle_keys), planted_lines[name]) << name;
  }
}

TEST(GeneratedRouter, can_miss_every_key_of_a_class) {
  const TestFolder folder;
  RouterOptions options;
  options.line_cards = 1;
  options.gre = 1;  // a handle and two ids, on one card and one route processor
  generate_router(folder.path(), options, {"missing-gre:6"});
  EXPECT_EQ(json::parse(file_text(folder.path() / "planted.json")).at("defects").size(), 6U);
}

TEST(GeneratedRouter, is_the_same_for_the_same_options) {
  const TestFolder first;
  const TestFolder second;
  const TestFolder other;
  const std::vector<std::string> options = {"--line-cards", "3",        "--defect", "missing-bvi",
                                            "--defect",     "leaked:2", "--seed"};
  const auto generate = [&](const fs::path& folder, const char* seed) {
    std::vector<std::string> arguments = {"generate", folder};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.emplace_back(seed);
    EXPECT_EQ(run_lab(arguments).status, 0);
  };
  generate(first.path(), "5");
  generate(second.path(), "5");
  generate(other.path(), "6");
  EXPECT_EQ(all_files(first.path()), all_files(second.path()));
  EXPECT_NE(all_files(first.path()), all_files(other.path()));
}

TEST(GeneratedRouter, has_the_size_asked_for) {
  const TestFolder folder;
  ASSERT_EQ(run_lab({"generate",          folder.path(), "--line-cards", "3", "--physical", "4",
                     "--physical-subifs", "9",           "--bundles",    "3", "--members",  "2",
                     "--bundle-subifs",   "5",           "--bvis",       "2", "--gre",      "1",
                     "--l2-share",        "100"})
                .status,
            0);
  const fs::path nodes = folder.path() / "nodes";
  EXPECT_EQ(std::distance(fs::directory_iterator(nodes), fs::directory_iterator()), 4);
  const std::map<InterfaceClass, long> sizes = {{InterfaceClass::kPhysical, 4 + 3 * 2},
                                                {InterfaceClass::kPhysicalSubif, 9},
                                                {InterfaceClass::kBundle, 3},
                                                {InterfaceClass::kBundleSubif, 5},
                                                {InterfaceClass::kBvi, 2},
                                                {InterfaceClass::kGre, 1}};
  const std::vector<Interface> interfaces = read_pidb(nodes / "192.0.18.1" / "dumps");
  std::map<InterfaceClass, long> found;
  for (const Interface& interface : interfaces) {
    ++found[interface.interface_class];
    const bool is_never_l2 = interface.interface_class == InterfaceClass::kBvi ||
                             interface.interface_class == InterfaceClass::kGre;
    EXPECT_NE(interface.is_l2, is_never_l2) << interface.name;
  }
  EXPECT_EQ(found, sizes);
}

TEST(GeneratedRouter, names_tunnels_in_the_configuration_only_if_there_are_any) {
  for (const int tunnels : {0, 2}) {
    const TestFolder folder;
    RouterOptions options;
    options.gre = tunnels;
    generate_router(folder.path(), options, {});
    const std::string text = file_text(folder.path() / "config.txt");
    EXPECT_EQ(text.find("interface tunnel-ip") != std::string::npos, tunnels > 0);
    EXPECT_EQ(fs::exists(folder.path() / "nodes/192.0.16.1/dumps/pidb_gre_intf.dat"), tunnels > 0);
  }
}

TEST(GeneratedRouter, runs_in_the_sandbox) {
  const TestFolder folder;
  generate_router(folder.path(), {}, {});
  const Ended ended = run_on(folder.path(),
                             "ssh 192.0.17.1 /pkg/bin/hwkey_dump -g; scp "
                             "root@192.0.17.1:/tmp/pmdb.dat /tmp; cat /tmp/pmdb.dat");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, file_text(folder.path() / "nodes/192.0.17.1/dumps/pmdb.dat"));
}

}  // namespace
}  // namespace zorbec::lab
