#pragma once

#include <string>
#include <vector>

#include "lab/router_plan.h"

namespace zorbec::lab {

// Writes the folder of a router. The interface check and the multicast check find on it exactly the
// defects in `defects`, each of them KIND[:COUNT]. The file planted.json tells what they are. The
// same options give the same bytes.
//
// The folder is made if it is missing. Throws std::invalid_argument if it is not empty, a defect is
// unknown or the options do not fit together, and std::system_error if a file cannot be written.
void generate_router(const std::string& folder, const RouterOptions& options,
                     const std::vector<std::string>& defects);

}  // namespace zorbec::lab
