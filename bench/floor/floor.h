#pragma once

#include <string>

#include "bench/floor/router.h"

namespace zorbec::floor {

// Reads the dumps that an interface check left in the folder `dumps`, writes into the folder `logs`
// the logs that it wrote, and prints what that took. Uses `threads` threads, this one included.
// Throws if a file cannot be read or written, and if the router is not a healthy one.
void run(const std::string& dumps, const std::string& logs, const KeyRules& rules,
         unsigned threads);

}  // namespace zorbec::floor
