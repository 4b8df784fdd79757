#pragma once

#include <optional>
#include <string_view>

#include "base/enums.h"

namespace zorbec {

// The classes of interfaces that a PIDB tells apart, in the order in which they are verified. A new
// class gets an enumerator here, a row in the table below, a table in the run state and a rule for
// its keys (keys/expected_keys.cpp); the compiler asks for each of them.
enum class InterfaceClass { kPhysical, kPhysicalSubif, kBundle, kBundleSubif, kBvi, kGre };

// When a node is asked for its dump of a class.
enum class DumpedBy {
  kPidbTool,   // together with the other classes of the PIDB
  kTunnelTool  // by a tool of its own, only if the configuration holds GRE tunnels
};

// All texts that go with a class.
struct InterfaceClassRow {
  std::string_view name;    // in reports, options and expected-key rules
  std::string_view column;  // heading of its column in the summary
  std::string_view dump;    // its dump is /tmp/<dump>.dat on a node, /tmp/<dump>_<node>.dat here
  DumpedBy dumped_by = DumpedBy::kPidbTool;
  std::string_view heading;  // of its part of a verification log
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
    // Its result is labelled like the bundle's on purpose: readers of the log know it under this
    // label.
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

// The class of that name, if there is one.
constexpr std::optional<InterfaceClass> class_named(std::string_view name) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    if (class_name(intf_class) == name) return intf_class;
  }
  return std::nullopt;
}

}  // namespace zorbec
