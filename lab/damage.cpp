#include "lab/damage.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "lab/tool_names.h"
#include "lab/words.h"

namespace zorbec::lab {

const std::string_view kRubbishText = "?? ~~ line noise ~~ {{{ ] ??\n";

namespace {

// The bit of DamageTarget for a word of damage.txt; 0 if nothing has that name.
unsigned target_of(std::string_view what) {
  if (what == "ssh") return kHitsSsh;
  if (what == "scp") return kHitsScp;
  if (what == "sshd") return kHitsServer;
  if (what == "tmp") return kHitsTmp;
  if (is_router_tool(what)) return kHitsTools;
  return is_dump_file(what) ? kHitsFiles : 0U;
}

std::optional<int> parse_argument(std::string_view word, int largest) {
  int value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  if (value < 0 || value > largest) return std::nullopt;
  return value;
}

// Nothing if the words are no damage.
std::optional<Damage> parse_line(const std::vector<std::string>& words) {
  if (words.size() < 3) return std::nullopt;
  const auto* const row =
      std::find_if(kDamageKinds.begin(), kDamageKinds.end(),
                   [&](const DamageKindRow& candidate) { return candidate.name == words[2]; });
  if (row == kDamageKinds.end() || (target_of(words[1]) & row->targets) == 0) return std::nullopt;
  Damage damage{words[0], words[1], row->kind};
  if (row->largest_argument == kNoArgument) {
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
  return kDamageKinds[static_cast<std::size_t>(damage.kind)].shown_by == ShownBy::kOpenssh;
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
