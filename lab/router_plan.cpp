#include "lab/router_plan.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace zorbec::lab {
namespace {

constexpr unsigned kFirstRouteProcessor = 0;
constexpr unsigned kLogicalSpace = 0x3c;

// Handles of interfaces: a space (the slot of a card, plus 1) in the upper 8 bits, a number below.
//
// A handle is a key too, so it must differ from all other keys: keys of routed interfaces are below
// 0x10000, keys of ports end in 16 zero bits, and all others have one of the upper 2 bits set.
class Handles {
 public:
  explicit Handles(unsigned space) : next_((space << 24) + 8) {}
  std::uint32_t next() { return std::exchange(next_, next_ + 16); }

 private:
  std::uint32_t next_;
};

// Interface ids, counted for the whole router. They may need more than 16 bits. The lower 16 bits
// are never all 0, because the key would be 0.
class Ids {
 public:
  explicit Ids(std::uint64_t first) : next_(first) {}
  std::uint64_t next() {
    if (next_ % 0x10000 == 0) ++next_;
    return next_++;
  }

 private:
  std::uint64_t next_;
};

// Source system ports, 1 to 0x3fff. On a large router they repeat: the field has no more bits.
class SystemPorts {
 public:
  std::uint64_t next() { return next_++ % kLargest + 1; }

 private:
  static constexpr std::uint64_t kLargest = 0x3fff;
  std::uint64_t next_ = 0;
};

class InterfacePlanner {
 public:
  InterfacePlanner(const RouterOptions& options, const RouterSize& size, Random& random)
      : options_(options),
        size_(size),
        random_(random),
        rifs_(1 + random() % 64),
        lifs_(1 + random() % 64) {}

  std::vector<Interface> logical_interfaces(const std::vector<unsigned>& slots) {
    std::vector<Interface> interfaces;
    Handles handles(kLogicalSpace);
    for (int i = 0; i < size_.bundles; ++i) {
      Interface bundle = draw(InterfaceClass::kBundle, handles);
      bundle.lagid = static_cast<std::uint64_t>(i) + 1;
      bundle.name = "Bundle-Ether" + std::to_string(bundle.lagid);
      interfaces.push_back(bundle);
    }
    for (int i = 0; i < size_.bundle_subifs; ++i) {
      const Interface& bundle = interfaces[static_cast<std::size_t>(i % size_.bundles)];
      Interface subif = draw(InterfaceClass::kBundleSubif, handles);
      subif.parent = bundle.handle;
      subif.lagid = bundle.lagid;
      subif.name = bundle.name + "." + std::to_string(100 + i / size_.bundles);
      interfaces.push_back(subif);
    }
    for (int i = 0; i < size_.bvis; ++i) {
      Interface bvi = draw(InterfaceClass::kBvi, handles);
      bvi.is_l2 = false;
      if (bvi.rif == 0) bvi.rif = rifs_.next();
      bvi.slot = slots[random_() % slots.size()];
      bvi.name = "Bvi" + std::to_string(i + 1);
      interfaces.push_back(bvi);
    }
    for (int i = 0; i < size_.gre; ++i) {
      Interface tunnel{InterfaceClass::kGre, handles.next(), "tunnel-ip" + std::to_string(i + 1)};
      tunnel.erif = rifs_.next();
      tunnel.drif = rifs_.next();
      interfaces.push_back(tunnel);
    }
    return interfaces;
  }

  // `card` counts the cards from 0, in the order of the nodes.
  std::vector<Interface> card_interfaces(unsigned slot, int card,
                                         const std::vector<Interface>& logical) {
    std::vector<Interface> interfaces;
    Handles handles(slot + 1);
    const int ports = size_.physical + size_.bundles * size_.members;
    interfaces.reserve(static_cast<std::size_t>(ports));
    for (int i = 0; i < size_.physical; ++i) interfaces.push_back(draw_port(slot, i, handles));
    for (int i = 0; i < size_.bundles * size_.members; ++i) {
      const Interface& bundle = logical[static_cast<std::size_t>(i / size_.members)];
      Interface port = draw_port(slot, size_.physical + i, handles);
      port.is_member = true;
      port.bundle = bundle.handle;
      port.lagid = bundle.lagid;
      port.memid = static_cast<unsigned>(card * size_.members + i % size_.members);
      interfaces.push_back(port);
    }
    for (int i = 0; i < size_.physical_subifs; ++i) {
      const Interface& port = interfaces[static_cast<std::size_t>(i % size_.physical)];
      Interface subif = draw(InterfaceClass::kPhysicalSubif, handles);
      subif.slot = slot;
      subif.parent = port.handle;
      subif.ssp = port.ssp;
      subif.name = port.name + "." + std::to_string(100 + i / size_.physical);
      interfaces.push_back(subif);
    }
    return interfaces;
  }

 private:
  // A layer-2 interface routes nothing, so it has no rif.
  Interface draw(InterfaceClass interface_class, Handles& handles) {
    Interface interface {
      interface_class, handles.next(), {}
    };
    interface.is_l2 = static_cast<int>(random_() % 100) < options_.l2_share;
    if (!interface.is_l2) interface.rif = rifs_.next();
    interface.lif = lifs_.next();
    return interface;
  }

  Interface draw_port(unsigned slot, int number, Handles& handles) {
    Interface port = draw(InterfaceClass::kPhysical, handles);
    port.slot = slot;
    port.ssp = ports_.next();
    port.name = "Port0/" + std::to_string(slot) + "/0/" + std::to_string(number);
    return port;
  }

  const RouterOptions& options_;
  const RouterSize& size_;
  Random& random_;
  Ids rifs_;
  Ids lifs_;
  SystemPorts ports_;
};

std::vector<Node> name_nodes(const RouterOptions& options, const RouterSize& size) {
  std::vector<Node> nodes;
  if (is_single_processor(options.model)) {
    nodes.push_back({"RP0", "127.0.0.1"});
    return nodes;
  }
  const std::string prefix = options.model == 8 ? "D" : "RP";
  for (unsigned i = kFirstRouteProcessor; i < (options.standby ? 2U : 1U); ++i) {
    Node node{prefix + std::to_string(i), "192.0." + std::to_string(i + 1) + ".1"};
    node.is_line_card = false;
    node.is_active = i == kFirstRouteProcessor;
    node.has_pidb = options.model == 2;
    nodes.push_back(node);
  }
  for (int i = 0; i < size.line_cards; ++i) {
    Node node{std::to_string(i), "192.0." + std::to_string(i + 16) + ".1"};
    node.slot = static_cast<unsigned>(i);
    nodes.push_back(node);
  }
  return nodes;
}

void require(bool holds, const char* rule) {
  if (!holds) throw std::invalid_argument(rule);
}

}  // namespace

RouterSize decide_size(const RouterOptions& options) {
  const int all = options.interfaces;
  const bool single = is_single_processor(options.model);
  RouterSize size{};
  size.line_cards = options.line_cards.value_or(single ? 1 : 2);
  size.physical = options.physical.value_or(std::max(1, all / 10));
  size.bundles = options.bundles.value_or(all / 50);
  size.members = options.members.value_or(2);
  size.bundle_subifs = options.bundle_subifs.value_or(size.bundles > 0 ? all / 5 : 0);
  size.bvis = options.bvis.value_or(all / 100);
  size.gre = options.gre.value_or(all / 100);
  const int others =
      size.physical + size.bundles * (1 + size.members) + size.bundle_subifs + size.bvis + size.gre;
  const int rest = size.physical > 0 ? std::max(0, all - others) : 0;
  size.physical_subifs = options.physical_subifs.value_or(rest);

  require(!single || size.line_cards == 1, "a single-processor model has no line cards to choose");
  require(!single || !options.multicast,
          "models 5, 7 and 9 have no node table, which the multicast check needs");
  require(size.line_cards <= (options.model == 8 ? 47 : 16), "the model has fewer slots");
  require(size.physical > 0 || size.physical_subifs == 0, "sub-interfaces need physical ports");
  require(size.bundles > 0 || size.bundle_subifs == 0, "bundle sub-interfaces need bundles");
  require(size.bundles < options.bundle_scale, "the bundle scale allows fewer bundles");
  return size;
}

std::vector<Node> plan_nodes(const RouterOptions& options, Random& random) {
  const RouterSize size = decide_size(options);
  std::vector<Node> nodes = name_nodes(options, size);

  std::vector<unsigned> slots;
  for (const Node& node : nodes) {
    if (node.is_line_card) slots.push_back(node.slot);
  }
  InterfacePlanner planner(options, size, random);
  const std::vector<Interface> logical = planner.logical_interfaces(slots);
  int card = 0;
  for (Node& node : nodes) {
    if (node.is_line_card) {
      node.interfaces = planner.card_interfaces(node.slot, card++, logical);
    }
    if (node.has_pidb) {
      node.interfaces.insert(node.interfaces.end(), logical.begin(), logical.end());
    }
  }
  return nodes;
}

}  // namespace zorbec::lab
