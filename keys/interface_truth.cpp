#include "keys/interface_truth.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "context/run_state.h"
#include "json/numbers.h"
#include "keys/expected_keys.h"
#include "keys/interface_records.h"

namespace zorbec {
namespace {

// The order in which the classes get their keys. Bundles and their sub-interfaces come before the
// physical ports, because member ports add to their lists.
constexpr std::array kOrder = {InterfaceClass::kBundle,   InterfaceClass::kBundleSubif,
                               InterfaceClass::kPhysical, InterfaceClass::kPhysicalSubif,
                               InterfaceClass::kBvi,      InterfaceClass::kGre};
static_assert(std::ranges::all_of(kEnumerators<InterfaceClass>,
                                  [](InterfaceClass intf_class) {
                                    return std::ranges::count(kOrder, intf_class) == 1;
                                  }),
              "each class has its turn, once");

// Adds a sub-interface to the list of its bundle. A sub-interface with the parent 0 has no bundle.
void link_to_bundle(const InterfaceRecord& subif, const std::string& nodename) {
  const JsonValue parent = subif.field("parent_ifh");
  if (equals(parent, 0)) return;
  if (parent.kind() != JsonKind::kInteger && parent.kind() != JsonKind::kText) {
    subif.fail("has parent_ifh " + describe(parent) + ", not a handle");
  }
  auto& handles =
      own_subiflist(find_interface(run_state().pidb_bundle_ifh, nodename, parent.text(), subif));
  if (handles == nullptr) handles = std::make_unique<SubifList>();
  handles->listed.emplace_back(subif.handle());
}

}  // namespace

void construct_pidb_truth_db(const std::string& nodename) {
  construct_pidb_truth_db(nodename, [](const CheckError&) { throw; });
}

void construct_pidb_truth_db(const std::string& nodename,
                             const std::function<void(const CheckError&)>& failed) {
  for (const InterfaceClass intf_class : kOrder) {
    for_each_interface(
        run_state().interfaces(intf_class), nodename, [&](const InterfaceRecord& record) {
          try {
            if (intf_class == InterfaceClass::kBundleSubif) link_to_bundle(record, nodename);
            construct_key_db(record, class_name(intf_class), record.handle(), nodename);
          } catch (const CheckError& error) {
            failed(error);
          }
        });
  }
}

}  // namespace zorbec
