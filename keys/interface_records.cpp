#include "keys/interface_records.h"

#include <optional>

#include "base/error.h"
#include "keys/key_encoding.h"

namespace zorbec {
namespace {

void require_list(const InterfaceRecord& record, std::string_view field, const JsonValue& list) {
  if (list.kind() == JsonKind::kArray) return;
  record.fail("has " + std::string(field) + " " + describe(list) + ", not a list");
}

// Calls visit(text) for each text of a list that a dump supplied.
template <typename Visit>
void for_each_text(const InterfaceRecord& record, std::string_view field, const JsonValue& list,
                   Visit visit) {
  list.for_each_child([&](const JsonValue& element) {
    if (element.kind() != JsonKind::kText) {
      record.fail("has " + describe(element) + " in its " + std::string(field) + ", not a text");
    }
    visit(element.text());
    return true;
  });
}

}  // namespace

void for_each_interface(const InterfaceTables& tables, const std::string& nodename,
                        const std::function<void(const InterfaceRecord&)>& visit) {
  InterfaceTable* const table = tables.find(nodename);
  if (table == nullptr) return;
  table->require_object();
  for (std::uint32_t entry = 0; entry < table->document.size(); ++entry) visit({*table, entry});
}

InterfaceRecord find_interface(const InterfaceTables& tables, const std::string& nodename,
                               std::string_view handle, const InterfaceRecord& referring) {
  InterfaceTable* const table = tables.find(nodename);
  const std::optional<std::uint32_t> entry =
      table == nullptr ? std::nullopt : table->document.find(handle);
  if (!entry) {
    referring.fail("refers to " + in_quotes(handle) + ", which node " + nodename +
                   " does not report");
  }
  return {*table, *entry};
}

std::string_view interface_name(const InterfaceRecord& record) {
  if (!record.value().is_object()) return {};
  for (const std::string_view field : {"intf_name", "name"}) {
    const std::optional<JsonValue> name = record.value().member(field);
    if (name && name->kind() == JsonKind::kText) return name->text();
  }
  return {};
}

std::unique_ptr<SubifList>& own_subiflist(const InterfaceRecord& bundle) {
  std::unique_ptr<SubifList>& own = bundle.additions().subiflist;
  if (own == nullptr) {
    if (const std::optional<JsonValue> dumped = bundle.find("subiflist")) {
      require_list(bundle, "subiflist", *dumped);
      own = std::make_unique<SubifList>(SubifList{dumped, {}});
    }
  }
  return own;
}

void for_each_subif(const InterfaceRecord& bundle, const SubifList& handles,
                    const std::function<void(std::string_view)>& visit) {
  if (handles.dumped) for_each_text(bundle, "subiflist", *handles.dumped, visit);
  for (const std::string& handle : handles.listed) visit(handle);
}

void fail_without_digits(const InterfaceRecord& record, std::string_view key) {
  record.fail("expects key " + in_quotes(key) + ", which leaves no hexadecimal digits to look up");
}

bool for_each_dumped_key(const InterfaceRecord& record,
                         const std::function<void(const Integer&)>& visit) {
  const std::optional<JsonValue> dumped = record.find("key_list");
  if (!dumped) return false;
  require_list(record, "key_list", *dumped);
  for_each_text(record, "key_list", *dumped, [&](std::string_view text) {
    const std::optional<Integer> key = parse_key_text(text);
    if (!key) fail_without_digits(record, text);
    visit(*key);
  });
  return true;
}

}  // namespace zorbec
