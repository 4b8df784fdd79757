#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "lab/call_log.h"
#include "lab/generate.h"
#include "lab/layout.h"
#include "lab/login.h"
#include "lab/openssh.h"
#include "lab/posix.h"
#include "lab/router_tools.h"
#include "lab/sandbox.h"
#include "lab/tool_names.h"

namespace zorbec::lab {
namespace {

// The exit status if the lab itself failed. The command's own statuses are passed through.
constexpr int kLabFailed = 125;

int call_tool(const std::vector<std::string>& argv) {
  // A call on a node is part of the call of ssh that made it, which is logged.
  if (!own_node().empty()) return run_router_tool(argv);
  const std::int64_t start = monotonic_ns();
  const int status = run_router_tool(argv);
  log_call(argv, start, monotonic_ns(), status);
  return status;
}

struct GenerateOptions {
  std::string folder;
  RouterOptions router;
  std::vector<std::string> defects;
};

void add_run_options(CLI::App& run, RunOptions& options) {
  run.footer("The command to run follows after --");
  run.add_option("ROUTER", options.router, "The router's folder")->required();
  run.add_option("--tmp", options.tmp, "Keep the private /tmp in this empty folder");
  run.add_option("--calls", options.calls, "Append one JSON line for every tool called");
  CLI::Option* openssh =
      run.add_flag("--openssh", options.openssh,
                   "Nodes with a real ssh server, reached by the real ssh and scp");
  run.add_option("--ssh-config", options.ssh_config, "Put this file's lines first into ssh_config")
      ->needs(openssh);
}

void add_generate_options(CLI::App& generate, GenerateOptions& options) {
  const CLI::Range count(0, 100'000);
  RouterOptions& router = options.router;
  generate.add_option("DIR", options.folder, "The folder to write, missing or empty")->required();
  generate.add_option("--seed", router.seed, "Seed of everything that varies (1)");
  generate.add_option("--model", router.model, "Router model code (1)")->check(CLI::Range(1, 9));
  generate.add_option("--line-cards", router.line_cards, "Line cards (2)")
      ->check(CLI::Range(1, 47));
  generate.add_flag("--standby", router.standby, "With a standby route processor");
  generate.add_option("--interfaces", router.interfaces, "Interfaces of each line card (100)")
      ->check(CLI::Range(1, 100'000));
  generate.add_option("--physical", router.physical, "Ports in no bundle, on each card")
      ->check(count);
  generate.add_option("--physical-subifs", router.physical_subifs, "Their sub-interfaces")
      ->check(count);
  generate.add_option("--bundles", router.bundles, "Bundles of the router")->check(count);
  generate.add_option("--members", router.members, "Ports of a bundle on each card (2)")
      ->check(CLI::Range(0, 64));
  generate.add_option("--bundle-subifs", router.bundle_subifs, "Sub-interfaces of all bundles")
      ->check(count);
  generate.add_option("--bvis", router.bvis, "BVIs of the router")->check(count);
  generate.add_option("--gre", router.gre, "GRE tunnels of the router")->check(count);
  generate.add_option("--l2-share", router.l2_share, "Percent of layer-2 interfaces (25)")
      ->check(CLI::Range(0, 100));
  generate.add_option("--bundle-scale", router.bundle_scale, "Configured bundle scale (256)")
      ->check(CLI::IsMember({256, 512, 1024, 2048}));
  generate.add_option("--multicast", router.multicast, "Multicast routes")->check(count);
  generate.add_option("--defect", options.defects, "KIND[:COUNT] to plant; may be repeated")
      ->expected(1)
      ->take_all();
}

// `command` is what stands behind "--"; the option parser must not see it.
int use_lab(const std::vector<std::string>& arguments, const std::vector<std::string>& command) {
  CLI::App app("A simulated router: the checker runs on it as on a real one.", "zorbec-lab");
  app.require_subcommand(1);

  RunOptions run_options;
  CLI::App* run = app.add_subcommand("run", "Run a command on a simulated router");
  add_run_options(*run, run_options);
  GenerateOptions generate_options;
  CLI::App* generate = app.add_subcommand("generate", "Write the folder of a simulated router");
  add_generate_options(*generate, generate_options);

  try {
    // CLI11 takes its arguments last one first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    report(std::string("zorbec-lab: ") + error.what());
    return kLabFailed;
  }
  if (generate->parsed()) {
    generate_router(generate_options.folder, generate_options.router, generate_options.defects);
    return 0;
  }
  run_options.command = command;
  if (run_options.command.empty()) {
    report("zorbec-lab: run needs a command after --");
    return kLabFailed;
  }
  return run_in_sandbox(run_options);
}

// One program is the lab, all tools and the login: the name by which it is called decides.
int dispatch(const std::vector<std::string>& argv) {
  const std::string_view name = std::string_view(argv.front()).substr(argv.front().rfind('/') + 1);
  if (is_router_tool(name)) return call_tool(argv);
  if (argv.front() == kLoginProgram) return run_login();
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
