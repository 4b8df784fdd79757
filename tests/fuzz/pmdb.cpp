// A node's programmed keys: found by name and by number, matched or not, and asked for one by one
// in commands that a shell takes as they are meant.

#include <wordexp.h>

#include <string>

#include "tables/dump_tables.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"
#include "verify/expected_index.h"
#include "verify/key_matching.h"
#include "verify/leak_check.h"

namespace zorbec {
namespace {

using fuzz::require;

// Whether the shell's own rules leave the text as it is, as one word.
bool is_one_word(const std::string& text) {
  if (text.empty() || text.front() == '#') return false;
  wordexp_t words{};
  if (::wordexp(text.c_str(), &words, WRDE_NOCMD | WRDE_UNDEF) != 0) return false;
  const bool is_same = words.we_wordc == 1 && text == words.we_wordv[0];
  ::wordfree(&words);
  return is_same;
}

// Answers for the interface manager; every third key is a bundle's.
std::string answer(const std::string& command) {
  static constexpr std::string_view kBefore = "ifmgr_print database -i ";
  static constexpr std::string_view kBehind = " -l 0x2";
  if (command == "confdump -c -l 1 -t 1 -o 1") return "bundle id 3\n";
  require(command.starts_with(kBefore) && command.ends_with(kBehind), "the command asks for a key");
  const std::string key =
      command.substr(kBefore.size(), command.size() - kBefore.size() - kBehind.size());
  require(is_one_word(key), "a key is one word to a shell");
  return key.size() % 3 == 0 ? "ifh name Bundle-Ether3\n" : "Port0/2/0/3\n";
}

// Interfaces that expect the keys of the table, and one that is not there.
InterfaceTable interfaces_for(const PmdbTable& pmdb) {
  InterfaceTable interfaces = unit::interface_table(R"({"1": {}})");
  KeyList keys{Integer(1) << 70};
  for (std::uint32_t entry = 0; entry < pmdb.size(); ++entry) {
    if (const auto number = pmdb.document().number(entry); number && *number != 0) {
      keys.emplace_back(*number);
    }
  }
  if (keys.size() > 1) keys.erase(keys.begin());
  interfaces.additions[0].key_list = std::move(keys);
  return interfaces;
}

// `keys` are those of the table, as they are or matched.
template <typename Keys>
void check_look_ups(const PmdbTable& pmdb, const Keys& keys) {
  for (std::uint32_t entry = 0; entry < pmdb.size(); ++entry) {
    require(keys.find(pmdb.name(entry)) == entry, "an entry is found by its name");
    if (const auto number = pmdb.document().number(entry)) {
      require(keys.find(Integer(*number)) == entry, "an entry is found by its number");
    }
  }
}

void check(std::string_view text, const fuzz::DetachedRun& run) {
  PmdbTable pmdb = unit::pmdb_table(text);
  if (!pmdb.document().is_object()) return;
  check_look_ups(pmdb, pmdb);

  InterfaceTables interfaces;
  interfaces.set("1", interfaces_for(pmdb));
  const InterfaceTables none;
  EnumArray<InterfaceClass, const InterfaceTables*> tables;
  for (const InterfaceTables*& table : tables) table = &none;
  tables[InterfaceClass::kPhysical] = &interfaces;
  const ExpectedIndex index(tables);
  KeyMatching matching(pmdb, index);
  check_look_ups(pmdb, matching);

  const ExpectedIndex::Class& expected = index.of(InterfaceClass::kPhysical);
  if (expected.is_complete && matching.can_claim()) {
    for (const ExpectedIndex::Expected& key : expected.keys) {
      const std::optional<std::uint32_t> entry = pmdb.find(Integer(index.key(key.number)));
      require(matching.claim(key.number) == entry.has_value(), "what is there can be claimed");
      require(!entry || pmdb.is_visited(*entry), "what was claimed is visited");
    }
    pmdb = unit::pmdb_table(text);
  }
  LogStream log = run.log();
  check_pmdb_leak(pmdb, log, "2");
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zorbec::fuzz::DetachedRun run(zorbec::answer);
  zorbec::fuzz::failure_of([&] { zorbec::check(zorbec::fuzz::as_text(data, size), run); });
  return 0;
}
