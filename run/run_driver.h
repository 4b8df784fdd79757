#pragma once

#include <cstdint>
#include <string>

namespace zorbec {

// Runs one check: the interface check for mode 0, the multicast check for any other mode.
//
// Returns 0 if the run was completed, whatever the workers found, and even if some of them failed.
// Returns -2 if a step of the main thread failed; `pending_error` then has the reason. This also
// happens when the run is interrupted while the main thread needs a command. Does not throw what
// steps throw; std::bad_alloc only if there is no memory for the reason.
//
// Blocks until all workers have ended, also after a failure. The run state must be up. Must not be
// called by two threads at the same time.
int run_zorbec(std::uint32_t mode, std::string& pending_error);

}  // namespace zorbec
