#include "keys/dump_content.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "json/document.h"

namespace zorbec {
namespace {

// How a dump tool may write a field: as an integer; as an integer or a text of decimal digits; or
// as true, false, 1 or 0.
enum class FieldKind { kNumber, kNumberOrText, kFlag };

struct Field {
  std::string_view name;
  FieldKind kind;
};
using Fields = std::span<const Field>;

constexpr Field kRif{"rif", FieldKind::kNumber};
constexpr Field kLif{"lif", FieldKind::kNumber};
constexpr Field kSlot{"slot", FieldKind::kNumberOrText};
constexpr Field kSsp{"ssp", FieldKind::kNumberOrText};
constexpr Field kIsL2{"is_l2", FieldKind::kFlag};
constexpr Field kParent{"parent_ifh", FieldKind::kNumberOrText};

constexpr Field kPortFields[] = {kRif,
                                 kLif,
                                 kSlot,
                                 kSsp,
                                 kIsL2,
                                 {"is_member", FieldKind::kFlag},
                                 {"bundle_ifh", FieldKind::kNumberOrText},
                                 {"memid", FieldKind::kNumberOrText},
                                 {"lagid", FieldKind::kNumberOrText}};
constexpr Field kSubifFields[] = {kRif, kLif, kSlot, kSsp, kIsL2, kParent};
constexpr Field kBundleFields[] = {kRif, kLif, kSlot, kSsp, kIsL2};
constexpr Field kBviFields[] = {kRif, kLif, kSlot, kSsp};
constexpr Field kGreFields[] = {{"erif", FieldKind::kNumberOrText},
                                {"drif", FieldKind::kNumberOrText}};

// The fields that the key rules of each class read (expected_keys.cpp).
constexpr EnumTable<InterfaceClass, Fields> kFields({
    {InterfaceClass::kPhysical, kPortFields},
    {InterfaceClass::kPhysicalSubif, kSubifFields},
    {InterfaceClass::kBundle, kBundleFields},
    {InterfaceClass::kBundleSubif, kSubifFields},
    {InterfaceClass::kBvi, kBviFields},
    {InterfaceClass::kGre, kGreFields},
});

constexpr std::array<std::string_view, 2> kAddedToInterfaces = {"key_list", "subiflist"};

bool is_decimal(std::string_view text) {
  if (text.empty() || (text.front() == '0' && text.size() > 1)) return false;
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool is_as_written(const JsonValue& value, FieldKind kind) {
  const JsonKind what = value.kind();
  const bool is_number = what == JsonKind::kInteger;
  switch (kind) {
    case FieldKind::kNumber:
      return is_number;
    case FieldKind::kNumberOrText:
      return is_number || (what == JsonKind::kText && is_decimal(value.text()));
    case FieldKind::kFlag:
      return what == JsonKind::kTrue || what == JsonKind::kFalse ||
             (is_number && (value.text() == "0" || value.text() == "1"));
  }
  return false;
}

// What is wrong with a record; empty if nothing is. A missing field is not reported here: if the
// check needs it, the check fails with a message of its own.
std::string oddity_of(const JsonValue& record, InterfaceClass intf_class) {
  if (!record.is_object()) return "is " + std::string(kind_name(record.kind())) + ", not a record";
  for (const Field& field : kFields[intf_class]) {
    const std::optional<JsonValue> value = record.member(field.name);
    if (value && !is_as_written(*value, field.kind)) {
      return "has " + std::string(field.name) + " " + describe(*value);
    }
  }
  for (const std::string_view added : kAddedToInterfaces) {
    if (record.member(added)) return "has " + std::string(added) + ", which is the checker's";
  }
  return {};
}

std::string oddity_of_key(const JsonValue& record) {
  if (!record.is_object()) return "is " + std::string(kind_name(record.kind())) + ", not a record";
  if (record.member("visited")) return "has visited, which is the checker's";
  return {};
}

template <typename OddityOf>
DumpContent look_into(const JsonDocument& document, std::string_view what,
                      OddityOf oddity_of_entry) {
  DumpContent content;
  content.is_table = document.is_object();
  content.entries = document.size();
  for (std::uint32_t entry = 0; entry < document.size(); ++entry) {
    std::string oddity = is_decimal(document.name(entry)) ? oddity_of_entry(document.value(entry))
                                                          : "is no plain decimal number";
    if (oddity.empty()) continue;
    if (content.odd_entries == 0) {
      content.first_odd =
          std::string(what) + " " + in_quotes(document.name(entry)) + " " + std::move(oddity);
    }
    ++content.odd_entries;
  }
  return content;
}

}  // namespace

DumpContent look_into(const InterfaceTable& table, std::optional<InterfaceClass> intf_class) {
  const InterfaceClass as = intf_class.value_or(InterfaceClass::kPhysical);
  return look_into(table.document, "interface",
                   [&](const JsonValue& record) { return oddity_of(record, as); });
}

DumpContent look_into(const PmdbTable& table, std::optional<InterfaceClass> /*intf_class*/) {
  return look_into(table.document(), "key", oddity_of_key);
}

}  // namespace zorbec
