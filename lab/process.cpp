#include "lab/process.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <stdexcept>

#include "lab/posix.h"

namespace zorbec::lab {
namespace {

// fork() takes no flags, and clone() of the C library wants a stack for the child. The system call
// without a stack works as fork() does: the child goes on with a copy of our stack.
long fork_into(unsigned long namespaces) {
  return ::syscall(SYS_clone, namespaces | SIGCHLD, nullptr, nullptr, nullptr, nullptr);
}

// Runs in the child. Becomes the program, or writes to `failures` why it could not and exits.
[[noreturn]] void execute(const std::string& program, const std::vector<std::string>& argv,
                          const std::function<void()>& prepare, int failures) {
  try {
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    prepare();
    ::execvp(program.c_str(), words.data());
    throw_errno("execute", program);
  } catch (const std::exception& error) {
    const std::string text = error.what();
    const ssize_t written = ::write(failures, text.data(), text.size());
    // Not exit(): what stands in the buffers of standard output is the parent's to write.
    ::_exit(written > 0 ? 125 : 126);
  }
}

}  // namespace

pid_t start_process(const std::string& program, const std::vector<std::string>& argv,
                    const std::function<void()>& prepare, unsigned long namespaces) {
  // The child's end closes when the program begins (close-on-exec): to read nothing but the end of
  // file means that the program runs.
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw_errno("pipe", "for " + program);
  const UniqueFd failures_out(ends[0]);
  UniqueFd failures_in(ends[1]);
  const long made = namespaces == 0 ? ::fork() : fork_into(namespaces);
  if (made < 0) throw_errno("fork", "for " + program);
  if (made == 0) execute(program, argv, prepare, failures_in.get());

  // Our own copy of the child's end would keep the end of file away.
  failures_in = UniqueFd();
  std::array<char, 512> failure;
  ssize_t got = 0;
  while ((got = ::read(failures_out.get(), failure.data(), failure.size())) < 0 && errno == EINTR) {
  }
  const auto pid = static_cast<pid_t>(made);
  if (got > 0) {
    wait_for_end(pid);
    throw std::runtime_error(std::string(failure.data(), static_cast<std::size_t>(got)));
  }
  return pid;
}

int wait_for_end(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

int exit_status_of(int wait_status) {
  return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

}  // namespace zorbec::lab
