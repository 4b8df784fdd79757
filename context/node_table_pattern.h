#pragma once

#include <memory>
#include <regex>

namespace zorbec {

// A line of the node table: full name, type, state, partner, a state of two words, address.
struct NodeTablePattern {
  std::regex regex{R"(0/(\w+?)/CPU0\s+(LC|RP)\s\((ACTIVE|STANDBY)\)\s+(NONE|0/\w+?/CPU0)\s+)"
                   R"((\w+\s\w+)\s+()" ZORBEC_INTERNAL_OCTET R"(.\d+.\d+.\d+))"};
};

// The one pattern of the process, compiled at the first call. Safe from any thread.
std::shared_ptr<const NodeTablePattern> node_table_pattern();

}  // namespace zorbec
