#pragma once

#include <optional>

#include "context/observer.h"
#include "tables/dump_tables.h"
#include "tables/interface_class.h"

namespace zorbec {

// Looks for entries that no dump tool writes: a handle or key that is no plain decimal number, a
// record that is none, a field of another kind than the tool's, a member that only the checker
// adds.
DumpContent look_into(const InterfaceTable& table, std::optional<InterfaceClass> intf_class);
DumpContent look_into(const PmdbTable& table, std::optional<InterfaceClass> intf_class);

}  // namespace zorbec
