// The quick reader of dumps against the parser: what it takes, the parser takes too and makes the
// same of it; and no input gives it more than its text.

#include <string>

#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

// A document as a text that tells all of it, with every number as the file writes it.
void describe_value(const JsonValue& value, std::string& out) {
  out += kind_name(value.kind());
  switch (value.kind()) {
    case JsonKind::kInteger:
    case JsonKind::kReal:
    case JsonKind::kText:
      out += ' ';
      out += value.text();
      break;
    case JsonKind::kArray:
      value.for_each_child([&](const JsonValue& child) {
        describe_value(child, out);
        return true;
      });
      break;
    case JsonKind::kObject:
      for (const JsonShape::Member& member : value.shape().members) {
        out += "\n  ";
        out += member.name;
        out += ": ";
        describe_value(value.at_slot(member.slot), out);
      }
      break;
    default:
      break;
  }
}

std::string description(const JsonDocument& document) {
  if (!document.is_object()) {
    std::string out;
    describe_value(document.root(), out);
    return out;
  }
  std::string out = document.holds_only_objects() ? "records" : "a table";
  for (std::uint32_t entry = 0; entry < document.size(); ++entry) {
    const std::string_view name = document.name(entry);
    fuzz::require(document.find(name) == entry, "an entry is found under its name");
    out += "\n";
    out += name;
    if (const auto number = document.number(entry)) out += "=" + std::to_string(*number);
    out += ": ";
    describe_value(document.value(entry), out);
  }
  for (const std::uint32_t entry : document.sorted_entries()) {
    out += "\n";
    out += document.name(entry);
  }
  return out;
}

// Of a text that is refused only whether more was to come: the parser's reason depends on where in
// its buffer an escape falls.
std::string outcome(const std::string& text) {
  try {
    return description(load_json(unit::file_text(text)));
  } catch (const JsonError& error) {
    return error.is_truncated() ? "truncated" : "refused";
  }
}

// The same table, written so that only the parser takes it: the first character of the first name
// as an escape.
std::string for_the_parser(std::string text) {
  const std::size_t brace = text.find_first_not_of(" \n\t\r");
  if (brace == std::string::npos || text[brace] != '{') return text;
  const std::size_t quote = text.find_first_not_of(" \n\t\r", brace + 1);
  if (quote == std::string::npos || quote + 1 >= text.size() || text[quote] != '"') return text;
  const char first = text[quote + 1];
  if (first < '0' || first > '9') return text;
  return text.replace(quote + 1, 1, "\\u003" + std::string(1, first));
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(zorbec::fuzz::as_text(data, size));
  zorbec::fuzz::require_equal(zorbec::outcome(text), zorbec::outcome(zorbec::for_the_parser(text)),
                              "reader and parser agree");
  return 0;
}
