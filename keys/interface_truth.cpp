#include "keys/interface_truth.h"

#include <memory>
#include <string_view>

#include "keys/expected_keys.h"
#include "keys/interface_records.h"
#include "run/json_numbers.h"
#include "run/run_state.h"

namespace zorbec {
namespace {

// Lists a sub-interface in its bundle. One whose parent is 0 belongs to no bundle.
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
  const RunState& state = run_state();
  const auto construct_class = [&](const InterfaceTables& tables, std::string_view intftype) {
    for_each_interface(tables, nodename, [&](const InterfaceRecord& record) {
      try {
        if (intftype == "bundle-subif") link_to_bundle(record, nodename);
        construct_key_db(record, intftype, record.handle(), nodename);
      } catch (const CheckError& error) {
        failed(error);
      }
    });
  };
  // Bundles first: their members, which are physical ports, add to the lists made here.
  construct_class(state.pidb_bundle_ifh, "bundle");
  construct_class(state.pidb_bundle_subifh, "bundle-subif");
  construct_class(state.pidb_physical_ifh, "physical");
  construct_class(state.pidb_physical_subifh, "physical-subif");
  construct_class(state.pidb_bvi_ifh, "bvi");
  construct_class(state.pidb_gre_ifh, "gre");
}

}  // namespace zorbec
