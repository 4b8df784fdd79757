#include "lab/expected_keys.h"

#include <unordered_map>

namespace zorbec::lab {
namespace {

// How a key is made: the id in the lower 16 bits, the port above it, flags in bits 30 and 31. Only
// the id is cut to its field: a large port runs over into the flags, as it does in the hardware.
std::uint64_t layer3_key(std::uint64_t rif) {
  return rif % 0x10000;
}

std::uint64_t layer2_key(std::uint64_t lif, std::uint64_t port) {
  return 0x40000000U | (port * 0x10000) | (lif % 0x10000);
}

std::uint64_t port_key(std::uint64_t ssp) {
  return ssp * 0x10000;
}

std::uint64_t aggregate_port_key(std::uint64_t port) {
  return 0x80000000U | (port * 0x10000);
}

std::uint64_t switching_port(int model, unsigned slot) {
  const bool has_one_port = model == 2 || model == 8 || is_single_processor(model);
  return has_one_port ? 0 : slot % 64;
}

std::uint64_t member_port(const Interface& member, const KeyRules& rules) {
  const auto mode = [](int scale) {
    switch (scale) {
      case 256:
        return 0U;
      case 512:
        return 1U;
      case 1024:
        return 2U;
      default:
        return 10U;
    }
  };
  const unsigned lag_bits = 8U + (rules.model == 9 ? 0U : mode(rules.bundle_scale));
  return (member.memid << lag_bits) | member.lagid;
}

// A logical interface needs this key for itself, and once more for each member below it.
std::uint64_t logical_key(const Interface& interface) {
  return interface.is_l2 ? layer2_key(interface.lif, 0) : layer3_key(interface.rif);
}

std::vector<std::uint64_t> port_keys(const Interface& interface, std::uint64_t own_port) {
  const std::uint64_t id =
      interface.is_l2 ? layer2_key(0, interface.ssp) : layer3_key(interface.rif);
  return {id, layer2_key(interface.lif, own_port), port_key(interface.ssp)};
}

}  // namespace

bool is_single_processor(int model) {
  return model == 5 || model == 7 || model == 9;
}

NodeKeys expected_keys(const std::vector<Interface>& interfaces, unsigned slot,
                       const KeyRules& rules) {
  const std::uint64_t own_port = switching_port(rules.model, slot);
  NodeKeys keys;
  const auto list = [&](const Interface& owner, std::uint64_t key) {
    keys.listed.push_back({key, owner.handle, owner.interface_class});
  };

  std::unordered_map<std::uint32_t, const Interface*> bundles;
  std::unordered_map<std::uint32_t, std::vector<const Interface*>> bundle_subifs;
  for (const Interface& interface : interfaces) {
    if (interface.interface_class == InterfaceClass::kBundle) {
      bundles[interface.handle] = &interface;
    } else if (interface.interface_class == InterfaceClass::kBundleSubif) {
      bundle_subifs[interface.parent].push_back(&interface);
    }
  }

  for (const Interface& interface : interfaces) {
    if (interface.is_member) {
      const Interface& bundle = *bundles.at(interface.bundle);
      keys.member_handles.push_back(interface.handle);
      for (const std::uint64_t key : port_keys(interface, own_port)) list(bundle, key);
      list(bundle, aggregate_port_key(member_port(interface, rules)));
      if (bundle.is_l2) list(bundle, logical_key(bundle));
      for (const Interface* subif : bundle_subifs[bundle.handle]) list(*subif, logical_key(*subif));
      continue;
    }
    list(interface, interface.handle);
    switch (interface.interface_class) {
      case InterfaceClass::kPhysical:
        for (const std::uint64_t key : port_keys(interface, own_port)) list(interface, key);
        break;
      case InterfaceClass::kPhysicalSubif:
        if (!interface.is_l2) list(interface, layer3_key(interface.rif));
        list(interface, layer2_key(interface.lif, own_port));
        break;
      case InterfaceClass::kBundle:
      case InterfaceClass::kBundleSubif:
        list(interface, logical_key(interface));
        break;
      case InterfaceClass::kBvi:
        list(interface, layer2_key(interface.lif, switching_port(rules.model, interface.slot)));
        list(interface, layer3_key(interface.rif));
        break;
      case InterfaceClass::kGre:
        list(interface, interface.erif);
        list(interface, interface.drif);
        break;
    }
  }
  return keys;
}

}  // namespace zorbec::lab
