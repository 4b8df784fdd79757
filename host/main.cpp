#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>

#include "host/check_command.h"
#include "host/diff_command.h"
#include "host/explain_command.h"
#include "run/log_stream.h"

namespace {

constexpr int kFailed = 3;
constexpr int kUsage = 64;

int use(int argc, char** argv) {
  CLI::App app("Checks a router's forwarding hardware against its interface truth databases.",
               "zorbec");
  app.set_version_flag("--version", ZORBEC_VERSION);
  app.require_subcommand(1);
  int exit_code = 0;
  zorbec::add_check_command(app, exit_code);
  zorbec::add_diff_command(app, exit_code);
  zorbec::add_explain_command(app, exit_code);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  return exit_code;
}

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
    return use(argc, argv);
  } catch (const std::exception& error) {
    zorbec::report_error({error.what()});
    return kFailed;
  }
}
