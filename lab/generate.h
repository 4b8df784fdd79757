#pragma once

#include <string>
#include <vector>

#include "lab/router_plan.h"

namespace zorbec::lab {

// Writes the folder of a router on which the interface check and the multicast check find exactly
// the defects ordered, each of them KIND[:COUNT], and planted.json, which tells what they are. The
// same options give the same bytes.
//
// The folder is made if missing and must be empty. Throws std::invalid_argument if it is not or
// the options do not go together, std::system_error if it cannot be written.
void generate_router(const std::string& folder, const RouterOptions& options,
                     const std::vector<std::string>& defects);

}  // namespace zorbec::lab
