#include "verify/leak_check.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "base/error.h"
#include "base/integer.h"
#include "base/text_lines.h"
#include "context/execute.h"
#include "context/observer.h"
#include "context/tell.h"
#include "verify/findings.h"

namespace zorbec {
namespace {

// Whether a shell reads `text` as one word and does not change it. A key's name comes from a dump
// and is put, without quotes, into a command that root runs on the route processor: any other name
// could run a command.
bool is_plain_word(std::string_view text) {
  static constexpr std::string_view kSpecial = "|&;<>()$`\\\"'*?[]{}!";
  const auto is_plain = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != 0x7f && kSpecial.find(c) == std::string_view::npos;
  };
  if (text.empty() || text.front() == '#' || !std::ranges::all_of(text, is_plain)) return false;
  // A shell replaces a tilde by a home directory at the beginning of a word, and in an assignment
  // behind "=" and ":".
  for (std::size_t at = text.find('~'); at != std::string_view::npos; at = text.find('~', at + 1)) {
    if (at == 0 || text[at - 1] == '=' || text[at - 1] == ':') return false;
  }
  return true;
}

std::string question_about(std::string_view key) {
  return "ifmgr_print database -i " + std::string(key) + " -l 0x2";
}

// The questions up to the first entry at which the leak check ends.
void announce_questions(const PmdbTable& pmdb) {
  announce_commands([&](const CommandRunner::Visit& visit) {
    for (std::uint32_t entry = 0; entry < pmdb.size(); ++entry) {
      const std::string_view key = pmdb.name(entry);
      if (!pmdb.document().value(entry).is_object()) return;
      if (pmdb.is_visited(entry)) continue;
      if (!is_plain_word(key)) return;
      visit({question_about(key)});
    }
  });
}

}  // namespace

int check_pmdb_leak(const PmdbTable& pmdb_dict, LogStream& dl_fd, const std::string& nodename) {
  pmdb_dict.require_object();
  event::LeaksChecked told{nodename, pmdb_dict.size()};
  Findings findings(nodename, dl_fd);
  announce_questions(pmdb_dict);
  for (std::uint32_t entry = 0; entry < pmdb_dict.size(); ++entry) {
    if (pmdb_dict.is_visited(entry)) {
      if (!pmdb_dict.is_claimed(entry)) ++told.marked_in_dump;
      continue;
    }
    const std::string_view key = pmdb_dict.name(entry);
    if (!is_plain_word(key))
      pmdb_dict.fail(entry, "is not a plain word, so nothing is asked for it");
    if (check_if_bundle_without_member(key) == 0) {
      ++told.of_bundles;
      continue;
    }

    const std::optional<Integer> value = Integer::from_decimal(key);
    if (!value) pmdb_dict.fail(entry, "is not a decimal number of at most 4,000 digits");
    const std::string finding = " PMDB Key " + value->message_hexadecimal() + " leaked !!!!!!";
    ++told.leaked;
    const std::string text = "ERROR" + finding;
    tell([&] { return event::LeakedKey{nodename, *value, text}; });
    // No newline in the log: there, all leaks of a node are on one line. This is required.
    findings.report(text + "\n", "ERROR!!!!!!" + finding);
    findings.flush();  // the command for the next key may take long
  }
  tell([&] { return told; });
  return told.leaked == 0 ? 0 : -1;
}

int check_if_bundle_without_member(std::string_view ifh) {
  const std::string answer = execute(question_about(ifh));
  const auto lines = split_lines(answer);
  const bool names_bundle = std::ranges::any_of(lines, [](std::string_view line) {
    return line.find("Bundle-Ether") != std::string_view::npos;
  });
  if (!names_bundle) return 1;
  // The command is required, but its output is not used. The configuration would be searched for
  // the regular expression "bundle id $number". "$" is the end of a line, and no text can follow
  // it, so the search never finds anything: a key that belongs to a bundle is never a leak.
  execute("confdump -c -l 1 -t 1 -o 1");
  return 0;
}

}  // namespace zorbec
