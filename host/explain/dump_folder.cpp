#include "host/explain/dump_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>  // with fmt, seconds of compiling
#include <set>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "base/error.h"
#include "context/run_state.h"
#include "dump/dump_file.h"
#include "host/words/wrapped_text.h"
#include "keys/interface_truth.h"

namespace zorbec {
namespace {

std::string_view dump_name(InterfaceClass intf_class) {
  return kInterfaceClassTable[intf_class].dump;
}

constexpr std::string_view kPmdb = "pmdb";

bool is_in_node_name(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         c == '-' || c == '.';
}

// The node in a file name of the form "<dump>_<node>.dat"; empty for any other name.
std::string_view node_of_file(std::string_view name) {
  if (!name.ends_with(".dat")) return {};
  name.remove_suffix(4);
  const auto node_behind = [&](std::string_view dump) -> std::string_view {
    if (!name.starts_with(dump) || name.size() <= dump.size() + 1 || name[dump.size()] != '_') {
      return {};
    }
    const std::string_view node = name.substr(dump.size() + 1);
    return std::ranges::all_of(node, is_in_node_name) ? node : std::string_view{};
  };
  // Names of dumps begin with names of others: "pidb_bundle_subif_3.dat" is of node 3, not a bundle
  // dump of a node "subif_3". So the longest name that fits counts.
  std::string_view longest = kPmdb;
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    const std::string_view dump = dump_name(intf_class);
    if (name == dump) return {};  // a node's own dump, which has no node in its name
    if (!node_behind(dump).empty() && dump.size() > longest.size()) longest = dump;
  }
  return node_behind(longest);
}

bool is_number(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// Loads the dumps of one folder into the run state and notes what could not be loaded.
class Loader {
 public:
  Loader(std::string folder, const std::function<void(const std::string&)>& complain)
      : folder_(std::move(folder)), complain_(complain) {}

  std::string path_of(std::string_view dump, const std::string& node) const {
    return fmt::format("{}/{}_{}.dat", folder_, dump, node);
  }
  bool is_there(std::string_view dump, const std::string& node) const {
    std::error_code unknown;  // counts as there: loading it will then say what is wrong
    return std::filesystem::symlink_status(path_of(dump, node), unknown).type() !=
           std::filesystem::file_type::not_found;
  }

  // Returns whether the dump could be used. An empty file can: the check takes it as a dump without
  // entries.
  template <typename T>
  bool load(NodeTable<T>& table, std::string_view dump, const std::string& node) {
    const std::string path = path_of(dump, node);
    try {
      if (file_size(path) != 0) {
        T loaded(path, parse_dump(path));
        loaded.require_object();
        table.set(node, std::move(loaded));
      }
      ++found.dumps_read;
      return true;
    } catch (const std::exception& error) {
      complain_(error.what());
      found.not_looked_at.push_back(fmt::format("{} of node {}: cannot be used", dump, node));
      return false;
    }
  }

  void derive_keys(const std::string& node) {
    std::size_t without_keys = 0;
    construct_pidb_truth_db(node, [&](const CheckError& error) {
      if (without_keys++ == 0) complain_(error.what());
    });
    if (without_keys == 0) return;
    found.not_looked_at.push_back(
        fmt::format("{} of node {}: no keys can be derived (standard error names the first one)",
                    counted(without_keys, "interface"), node));
  }

  DumpFolder found;

 private:
  const std::string folder_;
  const std::function<void(const std::string&)>& complain_;
};

}  // namespace

std::vector<std::string> nodes_with_dumps(const std::string& folder) {
  std::set<std::string, std::less<>> names;
  std::error_code failed;
  for (std::filesystem::directory_iterator entry(folder, failed), end; entry != end && !failed;
       entry.increment(failed)) {
    const std::string file = entry->path().filename();
    if (const std::string_view node = node_of_file(file); !node.empty()) names.emplace(node);
  }
  if (failed) throw std::system_error(failed, folder);
  std::vector<std::string> nodes(names.begin(), names.end());
  std::ranges::stable_sort(nodes, {}, [](const std::string& node) {
    const bool number = is_number(node);
    return std::tuple(!number, number ? node.size() : 0);
  });
  return nodes;
}

DumpFolder load_dump_folder(const std::string& folder, const std::vector<std::string>& nodes,
                            const std::optional<std::string>& pmdb_node,
                            const std::function<void(const std::string&)>& complain) {
  Loader loader(folder, complain);
  RunState& state = run_state();
  const bool has_tunnels = std::ranges::any_of(nodes, [&](const std::string& node) {
    return loader.is_there(dump_name(InterfaceClass::kGre), node);
  });

  for (const std::string& node : nodes) {
    std::vector<std::string> absent;
    for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
      const std::string_view dump = dump_name(intf_class);
      if (loader.is_there(dump, node)) {
        loader.load(state.interfaces(intf_class), dump, node);
      } else if (intf_class != InterfaceClass::kGre || has_tunnels) {
        absent.emplace_back(dump);
      }
    }
    std::vector<std::string>& not_looked_at = loader.found.not_looked_at;
    if (absent.size() == kEnumCount<InterfaceClass> - (has_tunnels ? 0 : 1)) {
      not_looked_at.push_back(fmt::format("interfaces of node {}: no dump here", node));
    } else if (!absent.empty()) {
      not_looked_at.push_back(fmt::format("{} of node {}: no dump here", joined(absent), node));
    }
    loader.derive_keys(node);

    if (pmdb_node && node != *pmdb_node) continue;
    if (!loader.is_there(kPmdb, node)) {
      not_looked_at.push_back(fmt::format("programmed keys of node {}: no dump here", node));
    } else if (loader.load(state.pmdb_keys, kPmdb, node)) {
      if (state.pmdb_keys.find(node) != nullptr) {
        loader.found.pmdb_nodes.push_back(node);
      } else {
        not_looked_at.push_back(fmt::format("programmed keys of node {}: the dump is empty", node));
      }
    }
  }
  return std::move(loader.found);
}

}  // namespace zorbec
