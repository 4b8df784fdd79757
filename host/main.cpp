#include <CLI/CLI.hpp>
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

}  // namespace

int main(int argc, char** argv) {
  try {
    return use(argc, argv);
  } catch (const std::exception& error) {
    zorbec::report_error({error.what()});
    return kFailed;
  }
}
