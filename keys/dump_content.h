#pragma once

#include <optional>

#include "context/observer.h"
#include "tables/dump_tables.h"
#include "tables/interface_class.h"

namespace zorbec {

// Counts the entries of a dump that no dump tool writes like this: the handle or key is not a plain
// decimal number, the record is not an object, a field has a wrong kind, or the record has a member
// that only the checker adds. `intf_class` is the class of a PIDB dump. Runs no command.
DumpContent look_into(const InterfaceTable& table, std::optional<InterfaceClass> intf_class);
DumpContent look_into(const PmdbTable& table, std::optional<InterfaceClass> intf_class);

}  // namespace zorbec
