#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "api/zorbec.h"
#include "host/diff_command.h"
#include "host/explain_command.h"

namespace {

constexpr int kRunFailed = 3;
constexpr int kUsage = 64;

int check(const std::string& mode) {
  zorbec_init();
  const std::uint32_t status = zorbec_run(mode == "multicast" ? 1 : 0);
  zorbec_finalize();
  return status == 0 ? 0 : kRunFailed;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Checks a router's forwarding hardware against its interface truth databases.");
  app.require_subcommand(1);
  CLI::App* const check_command =
      app.add_subcommand("check", "Run one check from the active route processor");
  std::string mode = "interfaces";
  check_command->add_option("--mode", mode, "What to check")
      ->check(CLI::IsMember({"interfaces", "multicast"}))
      ->capture_default_str();
  int exit_code = 0;
  zorbec::add_diff_command(app, exit_code);
  zorbec::add_explain_command(app, exit_code);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  return check_command->parsed() ? check(mode) : exit_code;
}
