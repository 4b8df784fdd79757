#include "host/command_line.h"

#include <CLI/CLI.hpp>  // seconds of compiling

#include "host/check/check_command.h"
#include "host/diff/diff_command.h"
#include "host/explain/explain_command.h"

namespace zorbec {

ExitCode run_command_line(int argc, char** argv) {
  CLI::App app("Checks a router's forwarding hardware against its interfaces.", "zorbec");
  // With this width the texts of all options fit in 80 columns. Subcommands inherit it.
  app.get_formatter()->column_width(26);
  app.set_version_flag("--version", ZORBEC_VERSION);
  app.require_subcommand(1);
  ExitCode exit_code = ExitCode::kConsistent;
  add_check_command(app, exit_code);
  add_diff_command(app, exit_code);
  add_explain_command(app, exit_code);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::kConsistent : ExitCode::kWrongCommandLine;
  }
  return exit_code;
}

}  // namespace zorbec
