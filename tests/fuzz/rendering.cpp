// How dumps are shown in logs: as a plain renderer shows them, whichever way was taken, and such
// that what was rendered parses to what the dump held.

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tables/table_rendering.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

struct Entry;

// Something to show: a scalar's own text, or entries between brackets.
struct Shown {
  std::string scalar;
  std::string brackets;
  std::vector<Entry> entries;
};
struct Entry {
  std::string before;  // its name
  Shown value;
};

Shown shown_scalar(std::string text) {
  Shown value;
  value.scalar = std::move(text);
  return value;
}
Shown shown_between(std::string brackets) {
  Shown value;
  value.brackets = std::move(brackets);
  return value;
}

std::string in_json_quotes(std::string_view text) {
  return nlohmann::json(std::string(text)).dump();
}

Shown shown(const JsonValue& value) {
  switch (value.kind()) {
    case JsonKind::kNull:
    case JsonKind::kFalse:
    case JsonKind::kTrue:
      return shown_scalar(std::string(kind_name(value.kind())));
    case JsonKind::kInteger:
    case JsonKind::kReal:
      return shown_scalar(std::string(value.text()));
    case JsonKind::kText:
      return shown_scalar(in_json_quotes(value.text()));
    case JsonKind::kArray: {
      Shown list = shown_between("[]");
      value.for_each_child([&](const JsonValue& child) {
        list.entries.push_back({"", shown(child)});
        return true;
      });
      return list;
    }
    case JsonKind::kObject:
      break;
  }
  Shown map = shown_between("{}");
  std::vector<std::string_view> names;
  for (const JsonShape::Member& member : value.shape().members) names.push_back(member.name);
  std::ranges::sort(names);
  for (const std::string_view name : names) {
    map.entries.push_back({in_json_quotes(name) + ": ", shown(*value.member(name))});
  }
  return map;
}

Shown shown(const JsonDocument& document) {
  if (!document.is_object()) return shown(document.root());
  std::vector<std::pair<std::string_view, std::uint32_t>> names;
  for (std::uint32_t entry = 0; entry < document.size(); ++entry) {
    names.emplace_back(document.name(entry), entry);
  }
  std::ranges::sort(names);
  Shown table = shown_between("{}");
  for (const auto& [name, entry] : names) {
    table.entries.push_back({in_json_quotes(name) + ": ", shown(document.value(entry))});
  }
  return table;
}

std::string on_one_line(const Shown& value) {
  if (value.brackets.empty()) return value.scalar;
  std::string out(1, value.brackets[0]);
  for (const auto& [before, entry] : value.entries) {
    if (out.size() > 1) out += ", ";
    out += before + on_one_line(entry);
  }
  return out + value.brackets[1];
}

std::string on_lines(const Shown& value, std::size_t indent, const std::string& before,
                     const std::string& comma) {
  const std::string blanks(indent, ' ');
  const std::string line = blanks + before + on_one_line(value) + comma;
  const auto columns = std::ranges::count_if(line, [](char c) { return (c & 0xc0) != 0x80; });
  if (value.entries.empty() || columns <= 80) return line + "\n";
  std::string out = blanks + before + value.brackets[0] + "\n";
  std::size_t left = value.entries.size();
  for (const auto& [name, entry] : value.entries) {
    out += on_lines(entry, indent + 1, name, --left > 0 ? "," : "");
  }
  return out + blanks + value.brackets[1] + comma + "\n";
}

std::string rendering_of(const PmdbTable& pmdb) {
  std::string out;
  render(pmdb, [&](std::string_view piece) { out += piece; });
  return out;
}

// Whether another parser makes the same of both texts, or can make nothing of the first: a number
// can be too large for it.
bool are_same(std::string_view dumped, std::string_view rendered) {
  const auto one = nlohmann::json::parse(dumped, nullptr, false);
  return one.is_discarded() || one == nlohmann::json::parse(rendered, nullptr, false);
}

void check(std::string_view text) {
  const PmdbTable pmdb = unit::pmdb_table(text);
  const Shown dump = shown(pmdb.document());
  const std::string found = rendering_of(pmdb);
  fuzz::require_equal(found, on_lines(dump, 0, "", ""), "keys are rendered plainly");
  fuzz::require(are_same(text, found), "what was rendered parses to the same");

  InterfaceTables tables;
  tables.set("2", unit::interface_table(text));
  Shown nodes = shown_between("{}");
  nodes.entries.push_back({"\"2\": ", dump});
  fuzz::require_equal(render(tables), on_lines(nodes, 0, "", ""), "interfaces likewise");
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zorbec::fuzz::failure_of([&] { zorbec::check(zorbec::fuzz::as_text(data, size)); });
  return 0;
}
