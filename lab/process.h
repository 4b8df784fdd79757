#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace zorbec::lab {

// Starts a program in a new process and returns the process id. The program is looked up on PATH.
// `prepare` runs in the new process, before the program. `namespaces` are flags CLONE_NEW...: the
// process is the first one in new namespaces of these kinds.
//
// The caller owns the child and must wait for it. Call it from a process with a single thread.
//
// Throws std::system_error if the process cannot be made. Throws std::runtime_error if `prepare`
// throws or the program cannot be executed; the text is that of the failure.
pid_t start_process(const std::string& program, const std::vector<std::string>& argv,
                    const std::function<void()>& prepare, unsigned long namespaces = 0);

// Waits until the child has ended and returns its status as waitpid() gives it. Returns 0 if
// SIGCHLD is ignored, because the kernel then keeps no status.
int wait_for_end(pid_t child);

// The exit status in a status of waitpid(); 128 + N if signal N ended the process.
int exit_status_of(int wait_status);

}  // namespace zorbec::lab
