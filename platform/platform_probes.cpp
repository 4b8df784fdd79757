#include "platform/platform_probes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <system_error>

#include "base/error.h"
#include "base/text_lines.h"
#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"

namespace zorbec {
namespace {

struct Model {
  std::string_view text;
  int code;
};

// The first row whose text is in the banner is taken, so the order counts: "K310X" contains "K310",
// and a banner may name more than one model.
constexpr std::array<Model, 8> kModels = {{{"KVR-7700", 3},
                                           {"KVR-330", kModelKvr330},
                                           {"KVR-310 ()", 4},
                                           {"K310X", kModelK310x},
                                           {"K310", kModelK310},
                                           {"KVR-78Q4", kModelKvr78q4},
                                           {"DDC", kModelDdc},
                                           {"T4400-61QX-M2", 6}}};
constexpr int kSlotMask = 63;

// The text before the word "processor", on the first line that has any text before that word.
std::string_view model_text(std::string_view banner) {
  for (const std::string_view line : split_lines(banner)) {
    const std::size_t word = line.find("processor", 1);
    if (word != std::string_view::npos) return line.substr(0, word);
  }
  return {};
}

int model_code(std::string_view model) {
  const auto* const known = std::ranges::find_if(kModels, [&](const Model& candidate) {
    return model.find(candidate.text) != std::string_view::npos;
  });
  return known == kModels.end() ? kModelUnknown : known->code;
}

bool has_one_switching_processor(int code) {
  return code == kModelKvr330 || code == kModelK310 || code == kModelDdc || code == kModelK310x ||
         code == kModelKvr78q4;
}

}  // namespace

int get_router_type() {
  RunState& state = run_state();
  if (state.router != 0) return state.router;
  const int code = model_code(model_text(execute("/pkg/bin/relinfo_print")));
  state.router = code;
  return code;
}

Integer get_rack_slot_ssp(std::string_view node) {
  return get_rack_slot_ssp([&] {
    const std::optional<Integer> slot = Integer::from_decimal(node);
    if (!slot) throw CheckError("slot " + in_quotes(node) + " is not a decimal number");
    return *slot;
  });
}

Integer get_rack_slot_ssp(const std::function<Integer()>& read_slot) {
  if (has_one_switching_processor(get_router_type())) return 0;
  return read_slot() & kSlotMask;
}

double get_node_uptime(const std::string& nodeip) {
  const std::string command = "ssh  -o 'StrictHostKeyChecking=no ' " + nodeip + " cat /proc/uptime";
  const std::string output = execute(command, "0", nodeip);
  const std::string_view text(output);
  const std::size_t begin = std::min(text.find_first_not_of(kWhitespace), text.size());
  const std::string_view first = split_at_whitespace(text.substr(begin)).front();
  double seconds = 0;
  const auto [end, error] = std::from_chars(first.data(), first.data() + first.size(), seconds);
  if (error != std::errc() || end != first.data() + first.size()) {
    throw CheckError(command + ": " + in_quotes(first) + " is not a number of seconds");
  }
  return seconds;
}

std::string get_bundle_scale() {
  static constexpr std::string_view kProfile = "hw-module profile";
  static constexpr std::string_view kScale = "hw-module profile bundle-scale ";
  const std::string command = "confdump -c -q gl/early/hw-module/profile/bundle-scale/";
  const std::string output = execute(command);
  const std::string_view text(output);
  if (text.find(kProfile) == std::string_view::npos) return "256";
  for (std::size_t at = text.find(kScale); at != std::string_view::npos;
       at = text.find(kScale, at + 1)) {
    const std::string_view rest = text.substr(at + kScale.size());
    const std::string_view digits =
        rest.substr(0, std::min(rest.find_first_not_of("0123456789"), rest.size()));
    if (!digits.empty()) return std::string(digits);
  }
  throw CheckError(command + ": a hw-module profile without a bundle-scale number");
}

int get_spa_mode() {
  if (const std::optional<int> known = run_state().known_scale_mode) return *known;
  const int mode = spa_mode_of(get_bundle_scale());
  tell([&] { return event::ScaleModeProbed{mode}; });
  return mode;
}

int spa_mode_of(std::string_view scale) {
  if (scale == "256") return 0;
  if (scale == "512") return 1;
  if (scale == "1024") return 2;
  return 10;
}

}  // namespace zorbec
