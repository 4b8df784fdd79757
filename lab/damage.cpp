#include "lab/damage.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "lab/router_tools.h"
#include "lab/words.h"

namespace zorbec::lab {

const std::string_view kRubbishText = "?? ~~ line noise ~~ {{{ ] ??\n";

namespace {

enum Target : unsigned {
  kSsh = 1,
  kScp = 2,
  kTransport = kSsh | kScp,
  kTool = 4,
  kFile = 8,
  kServer = 16,
  kTmp = 32
};

struct KindRow {
  const char* name;
  DamageKind kind;
  unsigned targets;
  int largest_argument;  // -1: takes no argument
};

constexpr int kLongestDelayMs = 3600 * 1000;
constexpr int kMostBytes = 1'000'000'000;
constexpr int kMostKibibytes = 1'000'000;

const KindRow kDamageKinds[] = {
    {"refuse", DamageKind::kRefuse, kTransport, -1},
    {"late", DamageKind::kLate, kTransport | kTool, kLongestDelayMs},
    {"rubbish", DamageKind::kRubbish, kTransport | kTool | kFile, -1},
    {"none", DamageKind::kNone, kTransport | kTool | kFile, -1},
    {"half", DamageKind::kHalf, kFile, -1},
    {"empty", DamageKind::kEmpty, kFile, -1},
    {"absent", DamageKind::kAbsent, kTransport | kTool, -1},
    {"exit", DamageKind::kExit, kTransport | kTool, 255},
    {"down", DamageKind::kDown, kServer, -1},
    {"hang", DamageKind::kHang, kServer, -1},
    {"deny", DamageKind::kDeny, kServer, -1},
    {"other-key", DamageKind::kOtherKey, kServer, -1},
    {"banner", DamageKind::kBanner, kServer, -1},
    {"chatty", DamageKind::kChatty, kServer, -1},
    {"cut", DamageKind::kCut, kScp, kMostBytes},
    {"stall", DamageKind::kStall, kScp, kMostBytes},
    {"full", DamageKind::kFull, kTmp, kMostKibibytes},
};

// 0 for a word that nothing is called.
unsigned target_of(std::string_view what) {
  if (what == "ssh") return kSsh;
  if (what == "scp") return kScp;
  if (what == "sshd") return kServer;
  if (what == "tmp") return kTmp;
  if (is_router_tool(what)) return kTool;
  return is_dump_file(what) ? kFile : 0U;
}

std::optional<int> parse_argument(std::string_view word, int largest) {
  int value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  if (value < 0 || value > largest) return std::nullopt;
  return value;
}

std::optional<Damage> parse_line(const std::vector<std::string>& words) {
  if (words.size() < 3) return std::nullopt;
  const auto row =
      std::find_if(std::begin(kDamageKinds), std::end(kDamageKinds),
                   [&](const KindRow& candidate) { return candidate.name == words[2]; });
  if (row == std::end(kDamageKinds) || (target_of(words[1]) & row->targets) == 0)
    return std::nullopt;
  Damage damage{words[0], words[1], row->kind};
  if (row->largest_argument < 0) {
    if (words.size() != 3) return std::nullopt;
    return damage;
  }
  if (words.size() != 4) return std::nullopt;
  const std::optional<int> argument = parse_argument(words[3], row->largest_argument);
  if (!argument) return std::nullopt;
  damage.argument = *argument;
  return damage;
}

}  // namespace

bool needs_openssh(const Damage& damage) {
  return damage.kind >= DamageKind::kDown;
}

std::vector<Damage> parse_damage(std::string_view text) {
  std::vector<Damage> damages;
  int number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t length = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    line = line.substr(0, line.find('#'));
    const std::vector<std::string> words = split_words(line);
    if (words.empty()) continue;
    const std::optional<Damage> damage = parse_line(words);
    if (!damage) {
      throw std::invalid_argument("damage.txt line " + std::to_string(number) +
                                  " is no damage: " + std::string(line));
    }
    damages.push_back(*damage);
  }
  return damages;
}

std::vector<Damage> damages_that_hit(const std::vector<Damage>& damages, std::string_view where,
                                     std::string_view what) {
  std::vector<Damage> hits;
  std::copy_if(damages.begin(), damages.end(), std::back_inserter(hits), [&](const Damage& damage) {
    return damage.what == what && (damage.where == "*" || damage.where == where);
  });
  return hits;
}

}  // namespace zorbec::lab
