#pragma once

#include <memory>
#include <regex>

namespace zorbec {

// The layout of a node table line: full name, type, state, partner, two-word state, address.
struct NodeTablePattern {
  std::regex regex{R"(0/(\w+?)/CPU0\s+(LC|RP)\s\((ACTIVE|STANDBY)\)\s+(NONE|0/\w+?/CPU0)\s+)"
                   R"((\w+\s\w+)\s+()" ZORBEC_INTERNAL_OCTET R"(.\d+.\d+.\d+))"};
};

// Compiled when it is first asked for, once in a process.
std::shared_ptr<const NodeTablePattern> node_table_pattern();

}  // namespace zorbec
