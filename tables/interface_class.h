#pragma once

#include <optional>
#include <string_view>

#include "base/enums.h"

namespace zorbec {

// The classes of interfaces in a PIDB, in the order in which they are verified. A new class needs
// an enumerator here, a row in the table below, a table in the run state, and in keys/ a rule, a
// turn and fields. Without any of them the code does not compile. ARCHITECTURE.md lists all places.
enum class InterfaceClass { kPhysical, kPhysicalSubif, kBundle, kBundleSubif, kBvi, kGre };

// Which tool of a node dumps a class.
enum class DumpedBy {
  kPidbTool,   // the tool that dumps all other classes of the PIDB, too
  kTunnelTool  // the tunnel tool, which runs only if the configuration contains GRE tunnels
};

// All texts of a class.
struct InterfaceClassRow {
  std::string_view name;    // in reports, options and expected-key rules
  std::string_view column;  // heading of its column in the summary
  std::string_view dump;    // /tmp/<dump>.dat on a node; our copy is /tmp/<dump>_<node>.dat
  DumpedBy dumped_by = DumpedBy::kPidbTool;
  std::string_view heading;  // before the class's part of a verification log
  std::string_view label;    // before the class's table in the log
  std::string_view result;   // before the class's result in the log
};

inline constexpr EnumTable<InterfaceClass, InterfaceClassRow> kInterfaceClassTable({
    {InterfaceClass::kPhysical,
     {"physical", "port", "pidb_physical", DumpedBy::kPidbTool, "\nphysical intf verification\n",
      "pidb_physical_ifh is :\n", "\n Physical intf Result is : "}},
    {InterfaceClass::kPhysicalSubif,
     {"physical-subif", "port-sub", "pidb_physical_subif", DumpedBy::kPidbTool,
      "\nphysical sub intf verification\n", "pidb_physical_subifh is :\n",
      "\nPhysical sub intf Result is : "}},
    {InterfaceClass::kBundle,
     {"bundle", "bundle", "pidb_bundle", DumpedBy::kPidbTool, "\nbundle intf verification\n",
      "pidb_bundle_ifh is :\n", "\nBundle intf Result is : "}},
    // The result has the same label as the bundles' on purpose: readers of the log know it under
    // this label.
    {InterfaceClass::kBundleSubif,
     {"bundle-subif", "bundle-sub", "pidb_bundle_subif", DumpedBy::kPidbTool,
      "\nbundle sub intf verification\n", "pidb_bundle_subifh is :\n",
      "\nBundle intf Result is : "}},
    {InterfaceClass::kBvi,
     {"bvi", "BVI", "pidb_bvi_intf", DumpedBy::kPidbTool, "\nbvi intf verification\n",
      "pidb_bvi_ifh is :\n", "\nBVI intf Result is : "}},
    {InterfaceClass::kGre,
     {"gre", "GRE", "pidb_gre_intf", DumpedBy::kTunnelTool, "\ngre intf verification\n",
      "pidb_gre_ifh is :\n", "\nGRE intf Result is : "}},
});

constexpr std::string_view class_name(InterfaceClass intf_class) {
  return kInterfaceClassTable[intf_class].name;
}

// The class with that name; empty if there is none.
constexpr std::optional<InterfaceClass> class_named(std::string_view name) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    if (class_name(intf_class) == name) return intf_class;
  }
  return std::nullopt;
}

}  // namespace zorbec
