#pragma once

#include <string>

#include "base/log_stream.h"

namespace zorbec {

// Brings a line card's interface truth database here: has the card's tool dump it, copies the files
// back, loads each that is not empty into the table of its class, and completes the tables with
// expected keys. GRE tunnels are fetched only if the running configuration holds any.
//
// Nothing is written to `dl_fd`. Throws if a copy is missing or is not valid JSON, or if no
// expected keys can be derived from it; classes after that are not fetched.
void pidb_dump(const std::string& nodeip, const std::string& nodename, LogStream& dl_fd);

}  // namespace zorbec
