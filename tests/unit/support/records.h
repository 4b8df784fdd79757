#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "keys/interface_records.h"
#include "tables/dump_tables.h"
#include "tests/unit/support/tables.h"

// Interface records as a dump holds them, and what the checker made of them.
namespace zorbec::unit {

// Fields of a record and their values as JSON text.
using Fields = std::map<std::string, std::string>;

// In place of a field's value: the record does not have the field.
inline constexpr const char* kMissing = "";

inline std::string json_member(const std::string& name, const std::string& value) {
  return "\"" + name + "\": " + value;
}

// A layer-3 interface that is good for every class, with some fields changed. Its rif is 5, its lif
// 9, its ssp 3.
inline std::string record_with(const Fields& changes) {
  Fields fields = {{"rif", "5"},   {"lif", "9"},        {"ssp", "3"},          {"slot", "2"},
                   {"is_l2", "0"}, {"is_member", "0"},  {"bundle_ifh", "7"},   {"memid", "3"},
                   {"lagid", "5"}, {"parent_ifh", "0"}, {"erif", "\"65541\""}, {"drif", "131078"}};
  for (const auto& [name, value] : changes) fields[name] = value;
  std::string text;
  for (const auto& [name, value] : fields) {
    if (value == kMissing) continue;
    text.append(text.empty() ? "{" : ", ").append(json_member(name, value));
  }
  return text + "}";
}

// A node's dump of one class: handles and their records.
inline std::string dump_of(const Fields& records) {
  std::string text;
  for (const auto& [handle, record] : records) {
    text.append(text.empty() ? "{" : ",\n ").append(json_member(handle, record));
  }
  return text + "}";
}

// The record of that handle, which must be there.
inline InterfaceRecord record_of(const InterfaceTables& tables, const std::string& node,
                                 const std::string& handle) {
  InterfaceTable& table = *tables.find(node);
  return {table, table.document.find(handle).value()};
}

// The texts of a record's expected keys; "none" alone if it was given no list.
inline std::vector<std::string> keys_of(const InterfaceRecord& record) {
  if (!record.additions().key_list) return {"none"};
  std::vector<std::string> texts;
  for (const Integer& key : *record.additions().key_list) texts.push_back(key.hexadecimal());
  return texts;
}

// The sub-interfaces listed in a bundle; "none" alone if it was given no list.
inline std::vector<std::string> subifs_of(const InterfaceRecord& record) {
  if (record.additions().subiflist == nullptr) return {"none"};
  std::vector<std::string> handles;
  for_each_subif(record, *record.additions().subiflist,
                 [&](std::string_view handle) { handles.emplace_back(handle); });
  return handles;
}

}  // namespace zorbec::unit
