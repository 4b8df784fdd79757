#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "base/log_stream.h"
#include "host/command_line.h"
#include "host/report/exit_code.h"

namespace {

// Whoever started us may have closed standard streams: the next file that is opened would be taken
// for one.
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
  // Ignored, it would keep how commands end from us.
  std::signal(SIGCHLD, SIG_DFL);
  try {
    return static_cast<int>(zorbec::run_command_line(argc, argv));
  } catch (const std::exception& error) {
    zorbec::report_error({error.what()});
    return static_cast<int>(zorbec::ExitCode::kNotCarriedOut);
  }
}
