#pragma once

#include <cstdint>
#include <string>

namespace zorbec {

// One check. Mode 0 is the interface check, any other the multicast check.
//
// Returns 0 when the run completed, which says nothing about what the workers found or whether they
// failed; -2 when a step of the main thread failed. `pending_error` then says what did.
//
// Blocks until every worker has ended, also when it fails. The run state must be up; not to be
// called by two threads at once.
int run_zorbec(std::uint32_t mode, std::string& pending_error);

}  // namespace zorbec
