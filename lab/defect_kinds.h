#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "lab/interfaces.h"
#include "lab/kind_table.h"

// The kinds of defects that a generated router can have. The units defects and multicast choose the
// nodes, keys and routes for them.
namespace zorbec::lab {

enum class DefectKind {
  kMissingPhysical,
  kMissingPhysicalSubif,
  kMissingBundle,
  kMissingBundleSubif,
  kMissingBvi,
  kMissingGre,
  kLeaked,
  kLeakedBundle,
  kMcastRpHandle,
  kMcastMissingBud,
  kMcastMissingPmdb,
  kMcastLcHandle,
  kMcastLcRif,
  kMcastEndRpPmdb,
  kMcastEndBud,
  kMcastEndField
};

// A PMDB lacks a key from a key list of this class.
struct MissingKey {
  InterfaceClass interface_class;
};

// A PMDB holds a key that no interface calls for.
struct LeakedKey {
  bool is_of_bundle;  // says the interface manager: the check does not report the key
};

// What a node's tools get wrong about one route.
enum class MulticastFault {
  kOtherHandle,  // the PMDB holds another port handle
  kOtherRif,     // the PMDB holds another RIF
  kNoKey,        // the PMDB prints nothing
  kNoRifField,   // the PMDB's answer ends before the RIF
  kOtherBud,     // the bud object has another RIF
  kNoBuds,       // neither this route nor those after it have a bud object
  kNoMdtHandle,  // the routing entry has no MDT handle
};

// A node has a fault: the active route processor, a line card, or either of them if both are given.
struct WrongRoute {
  std::optional<MulticastFault> on_route_processor;
  std::optional<MulticastFault> on_line_card;
  bool ends_check;  // the multicast check stops there
};

struct DefectKindRow {
  DefectKind kind;
  std::string_view name;  // as in --defect and planted.json
  std::variant<MissingKey, LeakedKey, WrongRoute> what;
};

// One row for each kind, in the order of the enumeration. docs/lab.md lists the same for users.
inline constexpr std::array<DefectKindRow, 16> kDefectKinds = {{
    {DefectKind::kMissingPhysical, "missing-physical", MissingKey{InterfaceClass::kPhysical}},
    {DefectKind::kMissingPhysicalSubif, "missing-physical-subif",
     MissingKey{InterfaceClass::kPhysicalSubif}},
    {DefectKind::kMissingBundle, "missing-bundle", MissingKey{InterfaceClass::kBundle}},
    {DefectKind::kMissingBundleSubif, "missing-bundle-subif",
     MissingKey{InterfaceClass::kBundleSubif}},
    {DefectKind::kMissingBvi, "missing-bvi", MissingKey{InterfaceClass::kBvi}},
    {DefectKind::kMissingGre, "missing-gre", MissingKey{InterfaceClass::kGre}},
    {DefectKind::kLeaked, "leaked", LeakedKey{false}},
    {DefectKind::kLeakedBundle, "leaked-bundle", LeakedKey{true}},
    {DefectKind::kMcastRpHandle, "mcast-rp-handle",
     WrongRoute{MulticastFault::kOtherHandle, {}, false}},
    {DefectKind::kMcastMissingBud, "mcast-missing-bud",
     WrongRoute{{}, MulticastFault::kOtherBud, false}},
    {DefectKind::kMcastMissingPmdb, "mcast-missing-pmdb",
     WrongRoute{{}, MulticastFault::kNoKey, false}},
    {DefectKind::kMcastLcHandle, "mcast-lc-handle",
     WrongRoute{{}, MulticastFault::kOtherHandle, false}},
    {DefectKind::kMcastLcRif, "mcast-lc-rif", WrongRoute{{}, MulticastFault::kOtherRif, false}},
    {DefectKind::kMcastEndRpPmdb, "mcast-end-rp-pmdb",
     WrongRoute{MulticastFault::kNoKey, {}, true}},
    {DefectKind::kMcastEndBud, "mcast-end-bud", WrongRoute{{}, MulticastFault::kNoBuds, true}},
    {DefectKind::kMcastEndField, "mcast-end-field",
     WrongRoute{MulticastFault::kNoMdtHandle, MulticastFault::kNoRifField, true}},
}};

static_assert(has_row_for_each_kind<kDefectKinds>(), "a DefectKind has no row, or not its own");

const DefectKindRow& row_of(DefectKind kind);

// As in --defect and planted.json.
std::string name_of(DefectKind kind);

// True for defects of the multicast check; all others are defects of the interface check.
bool is_multicast_defect(DefectKind kind);

// KIND[:COUNT] of the option --defect.
struct DefectOrder {
  DefectKind kind;
  int count = 1;  // up to 1,000,000
};

// Throws std::invalid_argument if the text is no KIND[:COUNT].
DefectOrder parse_defect(const std::string& text);

}  // namespace zorbec::lab
