#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zorbec::lab {

enum class DamageKind {
  kRefuse,
  kLate,
  kRubbish,
  kNone,
  kHalf,
  kEmpty,
  kAbsent,
  kExit,
  // What only a real server, session or file system can show:
  kDown,
  kHang,
  kDeny,
  kOtherKey,
  kBanner,
  kChatty,
  kCut,
  kStall,
  kFull
};

// One line of damage.txt.
struct Damage {
  std::string where;  // a node's address, "local", or "*"
  std::string what;   // a tool, a dump file, "sshd" or "tmp"
  DamageKind kind;
  int argument = 0;  // milliseconds of kLate, status of kExit, bytes of kCut, kStall, KiB of kFull
};

// True for what a simulated ssh cannot show.
bool needs_openssh(const Damage& damage);

// What a damaged tool prints and a damaged dump file holds: no JSON, and no line any reader knows.
extern const std::string_view kRubbishText;

// Reads damage.txt. Throws std::invalid_argument, naming the line, if a line is no damage or the
// kind does not go with what it is to hit.
std::vector<Damage> parse_damage(std::string_view text);

// The damages that hit `what` at the place `where`, in file order.
std::vector<Damage> damages_that_hit(const std::vector<Damage>& damages, std::string_view where,
                                     std::string_view what);

}  // namespace zorbec::lab
