#include "verify/shared_truth.h"

#include "context/run_state.h"
#include "tables/table_rendering.h"

namespace zorbec {
namespace {

ExpectedIndex make_index() {
  EnumArray<InterfaceClass, const InterfaceTables*> tables;
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    tables[intf_class] = &run_state().interfaces(intf_class);
  }
  return ExpectedIndex(tables);
}

}  // namespace

std::shared_ptr<const ExpectedIndex> SharedTruth::index() {
  return index_.get(make_index);
}

std::shared_ptr<const std::string> SharedTruth::rendering(InterfaceClass intf_class) {
  return renderings_[intf_class].get([&] { return render(run_state().interfaces(intf_class)); });
}

void SharedTruth::make_ahead() {
  index_.make_ahead(make_index);
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    renderings_[intf_class].make_ahead([&] { return render(run_state().interfaces(intf_class)); });
  }
}

}  // namespace zorbec
