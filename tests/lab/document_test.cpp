// What docs/lab.md lists is what the program knows.

#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "lab/damage.h"
#include "lab/defect_kinds.h"
#include "lab/tool_names.h"
#include "lab_process.h"

namespace zorbec::lab {
namespace {

using Texts = std::vector<std::string>;

std::string document() {
  return file_text(ZORBEC_LAB_DOCUMENT);
}

// The texts between backticks.
Texts quoted(const std::string& text) {
  Texts found;
  std::istringstream parts(text);
  std::string outside;
  for (std::string inside; std::getline(parts, outside, '`') && std::getline(parts, inside, '`');) {
    found.push_back(inside);
  }
  return found;
}

Texts cells(const std::string& line) {
  Texts found;
  std::istringstream parts(line.substr(1));
  for (std::string cell; std::getline(parts, cell, '|');) found.push_back(cell);
  return found;
}

// The rows of all tables with this header line, one after the other.
std::vector<Texts> rows_under(const std::string& header) {
  std::vector<Texts> rows;
  bool is_inside = false;
  std::istringstream lines(document());
  for (std::string line; std::getline(lines, line);) {
    if (line == header) {
      is_inside = true;
      std::getline(lines, line);  // the rule below it
    } else if (line.empty()) {
      is_inside = false;
    } else if (is_inside) {
      rows.push_back(cells(line));
    }
  }
  return rows;
}

struct DamageRow {
  std::string name;
  unsigned targets;
  bool has_argument;
  ShownBy shown_by;

  bool operator==(const DamageRow&) const = default;
};

void PrintTo(const DamageRow& row, std::ostream* stream) {
  *stream << row.name << ", targets " << row.targets << (row.has_argument ? ", argument" : "")
          << (row.shown_by == ShownBy::kOpenssh ? ", only with OpenSSH" : "");
}

// `kind` is "`name`" or "`name ARGUMENT`".
DamageRow damage_row(const std::string& kind, unsigned targets, ShownBy shown_by) {
  const std::string text = quoted(kind).at(0);
  return {text.substr(0, text.find(' ')), targets, text.find(' ') != std::string::npos, shown_by};
}

unsigned targets_in(const std::string& cell) {
  constexpr std::pair<const char*, unsigned> kWords[] = {
      {"`ssh`", kHitsSsh},        {"`scp`", kHitsScp},     {"tools", kHitsTransport | kHitsTools},
      {"dump files", kHitsFiles}, {"`sshd`", kHitsServer}, {"`tmp`", kHitsTmp},
  };
  unsigned targets = 0;
  for (const auto& [word, bits] : kWords) {
    if (cell.find(word) != std::string::npos) targets |= bits;
  }
  return targets;
}

TEST(Document, lists_the_kinds_of_damage) {
  std::vector<DamageRow> listed;
  for (const Texts& row : rows_under("| KIND | For | Effect |")) {
    listed.push_back(damage_row(row.at(0), targets_in(row.at(1)), ShownBy::kAll));
  }
  for (const Texts& row : rows_under("| WHAT | KIND | Effect |")) {
    listed.push_back(damage_row(row.at(1), targets_in(row.at(0)), ShownBy::kOpenssh));
  }
  std::vector<DamageRow> known;
  for (const DamageKindRow& row : kDamageKinds) {
    known.push_back(
        {std::string(row.name), row.targets, row.largest_argument != kNoArgument, row.shown_by});
  }
  EXPECT_EQ(listed, known);
}

TEST(Document, lists_the_kinds_of_defects) {
  Texts listed;
  for (const Texts& row : rows_under("| KIND | What is planted |")) {
    const Texts names = quoted(row.at(0));
    listed.insert(listed.end(), names.begin(), names.end());
  }
  Texts known;
  for (const DefectKindRow& row : kDefectKinds) known.emplace_back(row.name);
  EXPECT_EQ(listed, known);
}

TEST(Document, lists_the_tools_that_can_be_damaged) {
  const std::string text = document();
  const std::string begin = "WHAT is a tool (";
  const std::size_t at = text.find(begin);
  ASSERT_NE(at, std::string::npos);
  const Texts listed = quoted(text.substr(at, text.find(')', at) - at));
  EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()),
            std::set<std::string>(kRouterTools.begin(), kRouterTools.end()));
}

TEST(Document, lists_the_dump_files) {
  using Dump = std::pair<std::string, std::string>;
  std::vector<Dump> listed;
  for (const Texts& row : rows_under("| File | What it answers |")) {
    if (row.at(0).find("`dumps/") == std::string::npos) continue;
    // "what `/pkg/bin/TOOL ARGUMENTS` writes"
    const std::string call = quoted(row.at(1)).at(0);
    const std::string program = call.substr(0, call.find(' '));
    for (const std::string& file : quoted(row.at(0))) {
      listed.emplace_back(program.substr(program.rfind('/') + 1), file.substr(file.rfind('/') + 1));
    }
  }
  std::vector<Dump> known;
  for (const DumpOfTool& dump : kDumpsOfTools) known.emplace_back(dump.tool, dump.name);
  EXPECT_EQ(listed, known);
}

}  // namespace
}  // namespace zorbec::lab
