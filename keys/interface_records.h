#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tables/dump_tables.h"

namespace zorbec {

// None of these functions runs a command. They throw what `visit` throws.

// Calls visit(record) for each interface that the node reports in this class, in file order. Does
// nothing if no dump was loaded. Throws CheckError if the dump is not an object.
void for_each_interface(const InterfaceTables& tables, const std::string& nodename,
                        const std::function<void(const InterfaceRecord&)>& visit);

// The node's record with that handle, which is compared as text. Throws CheckError if there is
// none; the message names `referring`, the record in which the handle was found.
InterfaceRecord find_interface(const InterfaceTables& tables, const std::string& nodename,
                               std::string_view handle, const InterfaceRecord& referring);

// The interface's name, from the field `intf_name` or `name` of its record. Empty if it has none.
std::string_view interface_name(const InterfaceRecord& record);

// The bundle's sub-interface list in the record's additions, so that the caller can extend or
// create it. At the first call it is made from the `subiflist` of the dump. Null if there is
// neither. Throws CheckError if the dump's `subiflist` is not a list.
std::unique_ptr<SubifList>& own_subiflist(const InterfaceRecord& bundle);

// Calls visit(handle) for each handle of a bundle's list. Throws CheckError at an element of the
// dump's own list that is not a text.
void for_each_subif(const InterfaceRecord& bundle, const SubifList& handles,
                    const std::function<void(std::string_view)>& visit);

// Calls visit(key) for each expected key of the record, in list order: of the derived list, or else
// of a `key_list` in the dump itself. Returns false if the record has neither.
//
// Throws CheckError at the first text in the list that is not a key. "0x0" is not: no digits are
// left when its leading "0" and "x" are removed.
template <typename Visit>
bool for_each_expected_key(const InterfaceRecord& record, Visit visit);

// The rare parts of for_each_expected_key(), which are not inlined.
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
