#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace zorbec {

// The kinds of interfaces that a PIDB tells apart, in the order in which they are verified.
enum class InterfaceClass { kPhysical, kPhysicalSubif, kBundle, kBundleSubif, kBvi, kGre };

inline constexpr std::array<InterfaceClass, 6> kInterfaceClasses = {
    InterfaceClass::kPhysical,    InterfaceClass::kPhysicalSubif, InterfaceClass::kBundle,
    InterfaceClass::kBundleSubif, InterfaceClass::kBvi,           InterfaceClass::kGre};

// "physical", "physical-subif", "bundle", "bundle-subif", "bvi", "gre".
constexpr std::string_view class_name(InterfaceClass intf_class) {
  constexpr std::array<std::string_view, 6> kNames = {
      "physical", "physical-subif", "bundle", "bundle-subif", "bvi", "gre"};
  return kNames[static_cast<std::size_t>(intf_class)];
}

}  // namespace zorbec
