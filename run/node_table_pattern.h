#pragma once

#include <regex>

namespace zorbec {

// The layout of a node table line: full name, type, state, partner, two-word state, address.
struct NodeTablePattern {
  std::regex regex{R"(0/(\w+?)/CPU0\s+(LC|RP)\s\((ACTIVE|STANDBY)\)\s+(NONE|0/\w+?/CPU0)\s+)"
                   R"((\w+\s\w+)\s+()" ZORBEC_INTERNAL_OCTET R"(.\d+.\d+.\d+))"};
};

}  // namespace zorbec
