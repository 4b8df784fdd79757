#include "tests/fuzz/support/multicast.h"

#include <algorithm>
#include <string_view>

#include "context/run_state.h"
#include "tests/fuzz/support/detached.h"
#include "verify/multicast_dumps.h"
#include "verify/multicast_verification.h"

namespace zorbec::fuzz {
namespace {

constexpr const char* kProcessor = "192.0.0.1";
constexpr const char* kCard = "192.0.2.1";

bool is_alphanumeric(std::string_view text) {
  return std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  });
}

// "0x" and lower-case hexadecimal digits without leading zeros.
bool is_rif(std::string_view text) {
  if (!text.starts_with("0x") || text.size() < 3) return false;
  text.remove_prefix(2);
  if (text.starts_with('0') && text.size() > 1) return false;
  return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Every field is a plain word, and RIFs that were printed in decimal are in hexadecimal now.
void require_plain(const MulticastTable& table, bool has_hexadecimal_rifs) {
  for (const auto& [address, entries] : table.nodes()) {
    for (const auto& [number, record] : entries) {
      for (const auto& [field, value] : record) {
        require(is_alphanumeric(value), "a field is a plain word");
        if (field == "rif" && has_hexadecimal_rifs) require(is_rif(value), "a RIF is hexadecimal");
      }
    }
  }
}

// Entries of these are numbered without gaps.
void require_in_a_row(const MulticastTable& table) {
  for (const auto& [address, entries] : table.nodes()) {
    require(entries.empty() || entries.rbegin()->first + 1 == entries.size(), "numbers in a row");
  }
}

std::string answer(const MulticastTexts& texts, const std::string& command) {
  if (command.find("mcroute_print") != std::string::npos) return texts.routes;
  if (command.find("fwdobj_print") != std::string::npos) return texts.buds;
  static constexpr std::string_view kQuestion = "hwkey_dump -r ";
  const std::size_t question = command.find(kQuestion);
  require(question != std::string::npos, "one of the three tools");
  require(is_rif(command.substr(question + kQuestion.size())), "hardware is asked for a RIF");
  return texts.handles;
}

bool is_finding(std::string_view line) {
  return line.starts_with("inconsistant data at node ") ||
         line.starts_with("Missing Key in mplsmdtbudobj 0x") ||
         line.starts_with("Missing Keys in PMDB rif: 0x");
}

}  // namespace

void check_multicast(const MulticastTexts& texts) {
  const DetachedRun run([&](const std::string& command) { return answer(texts, command); });
  RunState& state = run_state();
  LogStream log = run.log();
  state.rifs.expect({"RP0"});
  failure_of([&] { check_mrib_dump(kProcessor, "RP0", log); });
  failure_of([&] { check_mdtbudobj_dump(kCard, "2", log); });
  failure_of([&] { check_pmdb_dump(kProcessor, "RP0", log); });
  failure_of([&] { check_pmdb_dump(kCard, "2", log); });

  require_plain(state.mribkeys, true);
  require_plain(state.mplsmdtbudobj, true);
  require_plain(state.mcastpmdbkeys, false);
  require_in_a_row(state.mribkeys);
  require_in_a_row(state.mplsmdtbudobj);
  require(std::ranges::all_of(state.rifs.list(), is_rif), "tunnel RIFs are hexadecimal");

  failure_of([&] { verify_mcast(log); });
  const std::string printed = run.printed();
  std::string_view findings = printed;
  while (!findings.empty()) {
    const std::size_t end = findings.find('\n');
    require(end != std::string_view::npos, "a finding ends its line");
    require(is_finding(findings.substr(0, end)), "a line is a finding");
    findings.remove_prefix(end + 1);
  }
}

}  // namespace zorbec::fuzz
