#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "lab/call_log.h"
#include "lab/posix.h"
#include "lab/router_tools.h"
#include "lab/sandbox.h"

namespace zorbec::lab {
namespace {

constexpr int kLabFailed = 125;

int call_tool(const std::vector<std::string>& argv) {
  const std::int64_t start = monotonic_ns();
  const int status = run_router_tool(argv);
  log_call(argv, start, monotonic_ns(), status);
  return status;
}

// `command` is what stands behind "--", which no option parser may touch.
int use_lab(const std::vector<std::string>& arguments, const std::vector<std::string>& command) {
  CLI::App app("A simulated router: the checker runs on it as on a real one.", "zorbec-lab");
  app.require_subcommand(1);

  RunOptions run_options;
  CLI::App* run = app.add_subcommand("run", "Run a command on a simulated router");
  run->footer("The command to run follows after --");
  run->add_option("ROUTER", run_options.router, "The router's folder")->required();
  run->add_option("--tmp", run_options.tmp, "Keep the private /tmp in this empty folder");
  run->add_option("--calls", run_options.calls, "Append one JSON line for every tool called");

  try {
    // CLI11 takes its arguments last one first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    report(std::string("zorbec-lab: ") + error.what());
    return kLabFailed;
  }
  run_options.command = command;
  if (run_options.command.empty()) {
    report("zorbec-lab: run needs a command after --");
    return kLabFailed;
  }
  return run_in_sandbox(run_options);
}

int dispatch(const std::vector<std::string>& argv) {
  const std::string_view name = std::string_view(argv.front()).substr(argv.front().rfind('/') + 1);
  if (is_router_tool(name)) return call_tool(argv);
  const auto dashes = std::find(argv.begin(), argv.end(), "--");
  return use_lab({argv.begin() + 1, dashes},
                 {dashes == argv.end() ? dashes : dashes + 1, argv.end()});
}

}  // namespace
}  // namespace zorbec::lab

int main(int argc, char** argv) {
  if (argc < 1) return zorbec::lab::kLabFailed;
  try {
    return zorbec::lab::dispatch({argv, argv + argc});
  } catch (const std::exception& error) {
    zorbec::lab::report(std::string(argv[0]) + ": " + error.what());
    return zorbec::lab::kLabFailed;
  }
}
