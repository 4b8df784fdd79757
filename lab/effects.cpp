#include "lab/effects.h"

#include <chrono>
#include <string>
#include <thread>

#include "lab/layout.h"
#include "lab/posix.h"

namespace zorbec::lab {

std::vector<Damage> damages_at(std::string_view where, std::string_view what) {
  static const std::vector<Damage> kDamages =
      parse_damage(read_text(std::string(kRouterFolder) + "/damage.txt"));
  return damages_that_hit(kDamages, where, what);
}

std::optional<Damage> suffer_damage(std::string_view where, std::string_view tool) {
  std::optional<Damage> outcome;
  for (const Damage& damage : damages_at(where, tool)) {
    if (damage.kind == DamageKind::kLate) {
      std::this_thread::sleep_for(std::chrono::milliseconds(damage.argument));
    } else {
      outcome = damage;
    }
  }
  return outcome;
}

std::optional<int> status_without_answer(const Damage& damage, std::string_view tool) {
  const std::string name(tool);
  switch (damage.kind) {
    // Only ssh and scp refuse. Their error line names the address, see status_of_hindered().
    case DamageKind::kRefuse:
      return kTransportFailed;
    case DamageKind::kAbsent:
      report("bash: " + std::string(kToolFolder) + "/" + name + ": No such file or directory");
      return kNotFound;
    case DamageKind::kExit:
      report(name + ": failed with status " + std::to_string(damage.argument));
      return damage.argument;
    case DamageKind::kNone:
      return 0;
    // The tool answers, if late or with rubbish.
    case DamageKind::kLate:
    case DamageKind::kRubbish:
    // A copy begins, and login.cpp ends it.
    case DamageKind::kCut:
    case DamageKind::kStall:
    // These hit no tool.
    case DamageKind::kHalf:
    case DamageKind::kEmpty:
    case DamageKind::kDown:
    case DamageKind::kHang:
    case DamageKind::kDeny:
    case DamageKind::kOtherKey:
    case DamageKind::kBanner:
    case DamageKind::kChatty:
    case DamageKind::kFull:
      break;
  }
  return std::nullopt;
}

std::optional<int> status_of_hindered(std::string_view address, std::string_view tool,
                                      const std::optional<Damage>& damage) {
  if (!damage) return std::nullopt;
  if (damage->kind == DamageKind::kRefuse) {
    report("ssh: connect to host " + std::string(address) + " port 22: Connection refused");
  }
  return status_without_answer(*damage, tool);
}

}  // namespace zorbec::lab
