#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "lab/kind_table.h"

// damage.txt: what it can say and how it is read.
//
// What a damage does stands in other units: effects for tools, router_tools for dump files, login
// for sessions of a real ssh server, chassis for such a server and the /tmp of its node. All of
// them switch over DamageKind without `default`, so that the compiler tells where a new kind is
// missing.
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

// What a damage can hit. The bits of a kind are added up.
enum DamageTarget : unsigned {
  kHitsSsh = 1,
  kHitsScp = 2,
  kHitsTools = 4,    // all other tools
  kHitsFiles = 8,    // dump files
  kHitsServer = 16,  // "sshd", the ssh server of a node
  kHitsTmp = 32,     // "tmp", the /tmp of a node
};

// Whether the simulated ssh and scp can show a damage, or only real ssh servers can.
enum class ShownBy { kAll, kOpenssh };

inline constexpr int kNoArgument = -1;

struct DamageKindRow {
  DamageKind kind;
  std::string_view name;  // as in damage.txt
  unsigned targets;       // bits of DamageTarget
  int largest_argument;   // the smallest is 0; kNoArgument: takes none
  ShownBy shown_by;
};

inline constexpr unsigned kHitsTransport = kHitsSsh | kHitsScp;
inline constexpr int kLongestDelayMs = 3600 * 1000;
inline constexpr int kMostBytes = 1'000'000'000;
inline constexpr int kMostKibibytes = 1'000'000;

// One row for each kind, in the order of the enumeration. docs/lab.md lists the same for users.
inline constexpr std::array<DamageKindRow, 17> kDamageKinds = {{
    {DamageKind::kRefuse, "refuse", kHitsTransport, kNoArgument, ShownBy::kAll},
    {DamageKind::kLate, "late", kHitsTransport | kHitsTools, kLongestDelayMs, ShownBy::kAll},
    {DamageKind::kRubbish, "rubbish", kHitsTransport | kHitsTools | kHitsFiles, kNoArgument,
     ShownBy::kAll},
    {DamageKind::kNone, "none", kHitsTransport | kHitsTools | kHitsFiles, kNoArgument,
     ShownBy::kAll},
    {DamageKind::kHalf, "half", kHitsFiles, kNoArgument, ShownBy::kAll},
    {DamageKind::kEmpty, "empty", kHitsFiles, kNoArgument, ShownBy::kAll},
    {DamageKind::kAbsent, "absent", kHitsTransport | kHitsTools, kNoArgument, ShownBy::kAll},
    {DamageKind::kExit, "exit", kHitsTransport | kHitsTools, 255, ShownBy::kAll},
    {DamageKind::kDown, "down", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kHang, "hang", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kDeny, "deny", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kOtherKey, "other-key", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kBanner, "banner", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kChatty, "chatty", kHitsServer, kNoArgument, ShownBy::kOpenssh},
    {DamageKind::kCut, "cut", kHitsScp, kMostBytes, ShownBy::kOpenssh},
    {DamageKind::kStall, "stall", kHitsScp, kMostBytes, ShownBy::kOpenssh},
    {DamageKind::kFull, "full", kHitsTmp, kMostKibibytes, ShownBy::kOpenssh},
}};

static_assert(has_row_for_each_kind<kDamageKinds>(), "a DamageKind has no row, or not its own");

// One line of damage.txt.
struct Damage {
  std::string where;  // a node's address, "local", or "*"
  std::string what;   // a tool, a dump file, "sshd" or "tmp"
  DamageKind kind;
  int argument = 0;  // milliseconds of kLate, status of kExit, bytes of kCut, kStall, KiB of kFull
};

// True if only real ssh servers can show the damage.
bool needs_openssh(const Damage& damage);

// What a damaged tool prints and what a damaged dump file holds: it is no JSON, and no reader knows
// the line.
extern const std::string_view kRubbishText;

// Reads the text of damage.txt. Throws std::invalid_argument, with the number of the line and the
// line itself, if a line is no damage or its kind cannot hit what the line names.
std::vector<Damage> parse_damage(std::string_view text);

// The damages that hit `what` at the place `where`, in file order.
std::vector<Damage> damages_that_hit(const std::vector<Damage>& damages, std::string_view where,
                                     std::string_view what);

}  // namespace zorbec::lab
