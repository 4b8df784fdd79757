#include "keys/interface_truth.h"

#include <memory>
#include <string_view>

#include "keys/expected_keys.h"
#include "keys/interface_records.h"
#include "run/json_numbers.h"
#include "run/run_state.h"

namespace zorbec {
namespace {

void construct_class(const InterfaceTables& tables, std::string_view intftype,
                     const std::string& nodename) {
  for_each_interface(tables, nodename, [&](const InterfaceRecord& record) {
    construct_key_db(record, intftype, record.handle(), nodename);
  });
}

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
  const RunState& state = run_state();
  // Bundles first: their members, which are physical ports, add to the lists made here.
  construct_class(state.pidb_bundle_ifh, "bundle", nodename);
  for_each_interface(state.pidb_bundle_subifh, nodename, [&](const InterfaceRecord& record) {
    link_to_bundle(record, nodename);
    construct_key_db(record, "bundle-subif", record.handle(), nodename);
  });
  construct_class(state.pidb_physical_ifh, "physical", nodename);
  construct_class(state.pidb_physical_subifh, "physical-subif", nodename);
  construct_class(state.pidb_bvi_ifh, "bvi", nodename);
  construct_class(state.pidb_gre_ifh, "gre", nodename);
}

}  // namespace zorbec
