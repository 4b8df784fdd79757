#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "bench/floor/floor.h"

int main(int argc, char** argv) {
  CLI::App app("Writes the logs of an interface check from its dumps, with the least work");
  std::string dumps;
  std::string logs;
  unsigned threads = 1;
  int model = 1;
  int bundle_scale = 256;
  app.add_option("DUMPS", dumps, "Folder of the dumps")->required();
  app.add_option("LOGS", logs, "Folder for the logs")->required();
  app.add_option("--threads", threads, "How many")->check(CLI::PositiveNumber);
  app.add_option("--model", model, "Router model code")->check(CLI::Range(1, 9));
  app.add_option("--bundle-scale", bundle_scale, "As the router is configured");
  CLI11_PARSE(app, argc, argv);

  zorbec::floor::KeyRules rules;
  rules.has_one_port = model == 2 || model == 5 || model >= 7;
  if (model != 9) {
    rules.lag_bits += bundle_scale == 256    ? 0
                      : bundle_scale == 512  ? 1
                      : bundle_scale == 1024 ? 2
                                             : 10;
  }
  try {
    zorbec::floor::run(dumps, logs, rules, threads);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
