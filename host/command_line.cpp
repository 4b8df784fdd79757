#include "host/command_line.h"

#include <CLI/CLI.hpp>

#include "host/check_command.h"
#include "host/diff_command.h"
#include "host/explain_command.h"

namespace zorbec {

namespace {

constexpr int kWrongCommandLine = 64;

}  // namespace

int run_command_line(int argc, char** argv) {
  CLI::App app("Checks a router's forwarding hardware against its interface truth databases.",
               "zorbec");
  app.set_version_flag("--version", ZORBEC_VERSION);
  app.require_subcommand(1);
  int exit_code = 0;
  add_check_command(app, exit_code);
  add_diff_command(app, exit_code);
  add_explain_command(app, exit_code);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongCommandLine;
  }
  return exit_code;
}

}  // namespace zorbec
