#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "base/log_stream.h"
#include "host/command_line.h"
#include "host/report/exit_code.h"

namespace {

// The caller may have closed standard streams. The next file that we open would then get the number
// 0, 1 or 2, and messages would be written into it.
void open_standard_streams() {
  int fd = 0;
  do {
    fd = ::open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) ::close(fd);
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_streams();
  // If the caller ignores SIGCHLD, we inherit that, and waitpid() could not tell how commands
  // ended.
  std::signal(SIGCHLD, SIG_DFL);
  try {
    return static_cast<int>(zorbec::run_command_line(argc, argv));
  } catch (const std::exception& error) {
    zorbec::report_error({error.what()});
    return static_cast<int>(zorbec::ExitCode::kNotCarriedOut);
  }
}
