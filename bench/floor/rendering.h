#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/floor/router.h"

namespace zorbec::floor {

// Appends "0x" and the lower-case digits.
void append_hexadecimal(std::string& text, std::uint64_t number);

// Tables as docs/logs.md tells that they stand in a log. None is so small that it, or a record of
// it, fits on one line; one that does is refused.

// One node's interfaces of a class, as a member of the class's table.
std::string render_node(const Node& node, InterfaceClass intf_class);

// Calls sink with a node's PMDB, in pieces of some 256 KB, and with the newline behind it. `order`
// holds the numbers of its records in the order of their names.
void render_pmdb(const Table& pmdb, const std::vector<std::uint32_t>& order,
                 const std::function<void(std::string_view)>& sink);

}  // namespace zorbec::floor
