// The small questions to the platform: version banner, bundle scale, uptime. One answer to all.

#include <string>

#include "context/run_state.h"
#include "platform/platform_probes.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  using fuzz::require;
  const std::string answer(fuzz::as_text(data, size));
  int commands = 0;
  const fuzz::DetachedRun run([&](const std::string&) {
    ++commands;
    return answer;
  });

  const int model = get_router_type();
  require(model >= 1 && model <= 9, "a model has a code");
  require(model == 1 || answer.find("processor") != std::string::npos, "a model is of a processor");
  require(get_router_type() == model && commands == 1, "the model is asked for once");

  fuzz::failure_of([] { get_node_uptime("192.0.2.1"); });

  fuzz::failure_of([&] {
    const std::string scale = get_bundle_scale();
    require(!scale.empty() && scale.find_first_not_of("0123456789") == std::string::npos,
            "a scale is a number");
    require(scale == "256" || answer.find(" " + scale) != std::string::npos, "it was configured");
    require(get_spa_mode() == spa_mode_of(scale), "the mode is the scale's");
  });

  fuzz::failure_of([&] {
    const Integer port = get_rack_slot_ssp(answer);
    require(port.word() < 64U, "a slot gives a port below 64");
  });
  return 0;
}
