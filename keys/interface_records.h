#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tables/dump_tables.h"

namespace zorbec {

// Calls visit(record) for each interface that the node reports in this class, in file order; none
// if nothing was loaded for it. Throws CheckError if the dump is not a table.
void for_each_interface(const InterfaceTables& tables, const std::string& nodename,
                        const std::function<void(const InterfaceRecord&)>& visit);

// The node's record of that handle, compared as text. Throws CheckError if there is none, saying
// that `referring` refers to it.
InterfaceRecord find_interface(const InterfaceTables& tables, const std::string& nodename,
                               std::string_view handle, const InterfaceRecord& referring);

// The interface's name as its record tells it, empty if it does not.
std::string_view interface_name(const InterfaceRecord& record);

// The place of a bundle's sub-interface list in its record, which takes over what the dump
// supplied. Null if there is nothing. Throws CheckError if what the dump supplied is not a list.
std::unique_ptr<SubifList>& own_subiflist(const InterfaceRecord& bundle);

// Calls visit(handle) for each of them. Throws CheckError at an element of the dump's own list that
// is not a text.
void for_each_subif(const InterfaceRecord& bundle, const SubifList& handles,
                    const std::function<void(std::string_view)>& visit);

// Calls visit(key) for each expected key of the record, in list order: those that were derived, or
// else a `key_list` that the dump supplied. Returns false if the record has neither.
//
// Throws CheckError at the first key of the list that is none, "0x0" included, which has no digits
// once the leading "0" and "x" are stripped.
template <typename Visit>
bool for_each_expected_key(const InterfaceRecord& record, Visit visit);

// The two rarer cases of it.
[[noreturn]] void fail_without_digits(const InterfaceRecord& record, std::string_view key);
bool for_each_dumped_key(const InterfaceRecord& record,
                         const std::function<void(const Integer&)>& visit);

template <typename Visit>
bool for_each_expected_key(const InterfaceRecord& record, Visit visit) {
  const std::optional<KeyList>& derived = record.additions().key_list;
  if (!derived) return for_each_dumped_key(record, visit);
  for (const Integer& key : *derived) {
    if (key.is_zero()) fail_without_digits(record, key.hexadecimal());
    visit(key);
  }
  return true;
}

}  // namespace zorbec
