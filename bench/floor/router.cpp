#include "bench/floor/router.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <tuple>
#include <unordered_map>

namespace zorbec::floor {
namespace {

using enum InterfaceClass;

constexpr std::array<const char*, kInterfaceClasses.size()> kFiles = {
    "pidb_physical",     "pidb_physical_subif", "pidb_bundle",
    "pidb_bundle_subif", "pidb_bvi_intf",       "pidb_gre_intf"};

std::uint64_t slot_number(const std::string& node) {
  std::uint64_t slot = 0;
  const char* const last = node.data() + node.size();
  const auto [end, error] = std::from_chars(node.data(), last, slot);
  if (error != std::errc() || end != last) throw std::runtime_error(node + " is no slot");
  return slot;
}

std::uint64_t layer3_key(std::uint64_t rif) {
  return rif & 0xffffU;
}
std::uint64_t layer2_key(std::uint64_t lif, std::uint64_t port) {
  return std::uint64_t{1} << 30U | port << 16U | (lif & 0xffffU);
}

enum Field {
  kRif,
  kLif,
  kSsp,
  kSlot,
  kIsL2,
  kIsMember,
  kBundleIfh,
  kMemid,
  kLagid,
  kParentIfh,
  kErif,
  kDrif
};
constexpr std::array<std::string_view, 12> kFieldNames = {
    "rif",        "lif",   "ssp",   "slot",       "is_l2", "is_member",
    "bundle_ifh", "memid", "lagid", "parent_ifh", "erif",  "drif"};

// The fields of one record of a table after another.
class Fields {
 public:
  explicit Fields(const Table& table) : table_(table) {
    for (const Layout& layout : table.layouts) {
      std::ranges::transform(kFieldNames, places_.emplace_back().begin(), [&](auto name) {
        return std::ranges::find(layout.names, name) - layout.names.begin();
      });
    }
  }

  void go_to(std::size_t record) {
    const Record& here = table_.records[record];
    table_.cut(here, values_);
    layout_ = here.layout;
  }
  std::uint64_t operator[](Field field) const {
    const auto place = static_cast<std::size_t>(places_[layout_][field]);
    if (place >= values_.size()) throw std::runtime_error("a field is missing");
    return to_number(values_[place]);
  }

 private:
  const Table& table_;
  std::vector<std::array<std::ptrdiff_t, kFieldNames.size()>> places_;  // of each layout
  std::vector<std::string_view> values_;
  std::size_t layout_ = 0;
};

std::uint64_t bundle_subif_key(const Fields& subif) {
  return subif[kIsL2] == 0 ? layer3_key(subif[kRif]) : layer2_key(subif[kLif], 0);
}

class KeyDeriver {
 public:
  KeyDeriver(Node& node, const KeyRules& rules)
      : node_(node), rules_(rules), bundle_(bundles_.table), subif_(subifs_.table) {}

  void derive() {
    bundles_.subinterfaces.resize(bundles_.table.records.size());
    for (const Record& record : bundles_.table.records) {
      bundle_numbers_.emplace(record.name, bundle_numbers_.size());
    }
    for_each(kBundle, [](const Fields& bundle, KeyList& keys) {
      keys.push_back(bundle[kIsL2] == 1 ? layer2_key(bundle[kLif], 0) : layer3_key(bundle[kRif]));
    });
    std::uint32_t number = 0;
    for_each(kBundleSubif, [&](const Fields& subif, KeyList& keys) {
      const std::uint64_t parent = subif[kParentIfh];
      if (parent != 0) bundles_.subinterfaces[bundle_numbers_.at(parent)].push_back(number);
      ++number;
      keys.push_back(bundle_subif_key(subif));
    });
    if (!node_.of(kPhysical).table.records.empty()) own_port_ = port(slot_number(node_.name));
    for_each(kPhysical, [&](const Fields& physical, KeyList& keys) {
      add_physical(physical, keys);
      if (physical[kIsMember] != 0) give_to_bundle(physical, keys);
    });
    for_each(kPhysicalSubif, [&](const Fields& subif, KeyList& keys) {
      if (subif[kIsL2] == 0) keys.push_back(layer3_key(subif[kRif]));
      keys.push_back(layer2_key(subif[kLif], own_port_));
    });
    for_each(kBvi, [&](const Fields& bvi, KeyList& keys) {
      keys.push_back(layer2_key(bvi[kLif], port(bvi[kSlot])));
      keys.push_back(layer3_key(bvi[kRif]));
    });
    for_each(kGre, [](const Fields& tunnel, KeyList& keys) {
      keys.push_back(tunnel[kErif]);
      keys.push_back(tunnel[kDrif]);
    });
  }

 private:
  using KeyList = std::vector<std::uint64_t>;

  template <typename Add>
  void for_each(InterfaceClass intf_class, Add add) {
    Interfaces& interfaces = node_.of(intf_class);
    interfaces.key_lists.resize(interfaces.table.records.size());
    Fields fields(interfaces.table);
    for (std::size_t i = 0; i < interfaces.key_lists.size(); ++i) {
      fields.go_to(i);
      interfaces.key_lists[i].reserve(4);
      interfaces.key_lists[i].push_back(interfaces.table.records[i].name);
      add(fields, interfaces.key_lists[i]);
    }
  }

  std::uint64_t port(std::uint64_t slot) const { return rules_.has_one_port ? 0 : slot % 64; }

  void add_physical(const Fields& physical, KeyList& keys) const {
    const std::uint64_t own = layer2_key(physical[kLif], own_port_);
    const std::uint64_t ssp = physical[kSsp] << 16U;
    if (physical[kIsL2] == 0) {
      keys.insert(keys.end(), {layer3_key(physical[kRif]), own, ssp});
    } else {
      keys.insert(keys.end(), {ssp, own, layer2_key(0, physical[kSsp])});
    }
  }

  void give_to_bundle(const Fields& member, KeyList& keys) {
    const std::size_t number = bundle_numbers_.at(member[kBundleIfh]);
    KeyList& list = bundles_.key_lists[number];
    list.insert(list.end(), keys.begin() + 1, keys.end());
    keys.clear();
    const std::uint64_t member_port = member[kMemid] << rules_.lag_bits | member[kLagid];
    list.push_back(std::uint64_t{1} << 31U | member_port << 16U);
    bundle_.go_to(number);
    if (bundle_[kIsL2] != 0) list.push_back(layer2_key(bundle_[kLif], 0));
    for (const std::uint32_t subif : bundles_.subinterfaces[number]) {
      subif_.go_to(subif);
      subifs_.key_lists[subif].push_back(bundle_subif_key(subif_));
    }
  }

  Node& node_;
  const KeyRules& rules_;
  Interfaces& bundles_ = node_.of(kBundle);
  Interfaces& subifs_ = node_.of(kBundleSubif);
  Fields bundle_;
  Fields subif_;
  std::unordered_map<std::uint64_t, std::size_t> bundle_numbers_;  // records by handle
  std::uint64_t own_port_ = 0;
};

// Calls visit(key) for every key that must be in every PMDB.
template <typename Visit>
void for_each_key(const std::vector<Node>& nodes, Visit visit) {
  for (const Node& node : nodes) {
    for (const Interfaces& interfaces : node.classes) {
      for (std::size_t i = 0; i < interfaces.key_lists.size(); ++i) {
        // A bundle member has no key list: its handle itself must be there.
        if (interfaces.key_lists[i].empty()) visit(interfaces.table.records[i].name);
        for (const std::uint64_t key : interfaces.key_lists[i]) visit(key);
      }
    }
  }
}

}  // namespace

std::vector<std::string> find_nodes(const std::string& folder) {
  constexpr std::string_view kBegin = "pmdb_";
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string stem = entry.path().stem();
    if (stem.starts_with(kBegin) && entry.path().extension() == ".dat") {
      names.push_back(stem.substr(kBegin.size()));
    }
  }
  // Route processors, then line cards by slot.
  std::ranges::sort(names, {}, [](const std::string& name) {
    const bool is_slot = name.find_first_not_of("0123456789") == std::string::npos;
    return std::tuple(is_slot, name.size(), name);
  });
  return names;
}

Node load_node(const std::string& folder, const std::string& name, const KeyRules& rules) {
  Node node;
  node.name = name;
  const auto path = [&](const char* dump) {
    return std::string(folder).append("/").append(dump).append("_").append(name).append(".dat");
  };
  for (std::size_t i = 0; i < kFiles.size(); ++i) {
    if (std::filesystem::exists(path(kFiles[i])))
      node.classes[i].table = read_table(path(kFiles[i]));
  }
  KeyDeriver(node, rules).derive();
  node.pmdb = read_table(path("pmdb"));
  return node;
}

ExpectedKeys::ExpectedKeys(const std::vector<Node>& nodes) {
  std::size_t all = 0;
  for_each_key(nodes, [&](std::uint64_t) { ++all; });
  // At most four fifths full.
  const auto bits = static_cast<unsigned>(std::bit_width(all + all / 4 + 1));
  slots_.resize(std::size_t{1} << bits);
  shift_ = 64 - bits;

  struct Ordered {
    std::pair<std::uint64_t, std::uint64_t> order;
    std::size_t slot;
  };
  std::vector<Ordered> distinct;
  for_each_key(nodes, [&](std::uint64_t key) {
    if (key == 0) throw std::runtime_error("a key is 0, which nothing can be looked up for");
    const std::size_t slot = find(key);
    if (slots_[slot].key == key) return;
    slots_[slot].key = key;
    distinct.push_back({text_order(key), slot});
  });
  std::ranges::sort(distinct, {}, &Ordered::order);
  for (const Ordered& key : distinct) slots_[key.slot].number = static_cast<std::uint32_t>(size_++);
}

std::optional<std::uint32_t> ExpectedKeys::number_of(std::uint64_t key) const {
  const Slot& slot = slots_[find(key)];
  if (slot.key != key || key == 0) return std::nullopt;
  return slot.number;
}

std::size_t ExpectedKeys::find(std::uint64_t key) const {
  // Keys are often multiples of 65536: the upper bits of the product depend on all of them.
  std::size_t at = (key * 0x9e3779b97f4a7c15) >> shift_;
  while (slots_[at].key != key && slots_[at].key != 0) at = (at + 1) % slots_.size();
  return at;
}

}  // namespace zorbec::floor
