#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace zorbec::lab {

// Starts a program, looked up on PATH, in a new process. `prepare` runs there before the program
// does; the process is the first of the new namespaces that `namespaces` (CLONE_NEW...) names.
//
// Call it from a process with a single thread. Throws std::runtime_error if the process cannot be
// made, `prepare` throws or the program cannot be executed.
pid_t start_process(const std::string& program, const std::vector<std::string>& argv,
                    const std::function<void()>& prepare, unsigned long namespaces = 0);

// Waits for the child's end and returns its status as waitpid() gives it; 0 if SIGCHLD is ignored.
int wait_for_end(pid_t child);

// The exit status, 128 + N if signal N ended the process.
int exit_status_of(int wait_status);

}  // namespace zorbec::lab
