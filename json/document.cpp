#include "json/document.h"

#include <algorithm>
#include <numeric>

#include "base/enums.h"
#include "base/error.h"

namespace zorbec {

std::string_view kind_name(JsonKind kind) {
  static constexpr EnumNames<JsonKind> kNames({
      {JsonKind::kNull, "null"},
      {JsonKind::kFalse, "false"},
      {JsonKind::kTrue, "true"},
      {JsonKind::kInteger, "an integer"},
      {JsonKind::kReal, "a real number"},
      {JsonKind::kText, "a text"},
      {JsonKind::kArray, "a list"},
      {JsonKind::kObject, "an object"},
  });
  return kNames[kind];
}

JsonDocument::JsonDocument() {
  storage_.tokens.emplace_back(JsonKind::kObject, 0, 0);
}

void JsonDocument::prefetch_value(std::uint32_t entry) const {
  // A record's text begins with its name and takes 100 to 200 bytes in most dumps: three cache
  // lines. Its lengths (one byte a value) fit in one.
  constexpr std::size_t kLine = 64;
  const char* const text = storage_.file.bytes.get() + storage_.entries[entry].name.word;
  for (std::size_t line = 0; line < 3; ++line) __builtin_prefetch(text + line * kLine);
  if (!storage_.lengths.empty())
    __builtin_prefetch(storage_.lengths.data() + storage_.entries[entry].value);
}

std::string_view JsonDocument::name(std::uint32_t entry) const {
  return storage_.text_of(storage_.entries[entry].name);
}

// Few documents are asked for a single member: mostly bundle tables, when a member port or a
// sub-interface refers to its bundle. So the map is made at the first question, not when the dump
// is loaded. Several workers may ask at once, hence call_once. It is made of the names, not of
// Entry::short_number, because it also has the numbers of 33 to 64 bits.
const boost::unordered_flat_map<std::uint64_t, std::uint32_t>& JsonDocument::by_number() const {
  std::call_once(index_->numbers_once, [this] {
    index_->by_number.reserve(storage_.entries.size());
    for (std::uint32_t entry = 0; entry < size(); ++entry) {
      if (const auto number = canonical_number(name(entry)))
        index_->by_number.emplace(*number, entry);
    }
  });
  return index_->by_number;
}

std::optional<std::uint32_t> JsonDocument::find(std::uint64_t number) const {
  const auto found = by_number().find(number);
  if (found == by_number().end()) return std::nullopt;
  return found->second;
}

// Each name is in one of two maps only. A canonical number ("7", not "007") is found by its value,
// which is cheaper to hash and to compare than its text; all other names are found by their text.
std::optional<std::uint32_t> JsonDocument::find(std::string_view name) const {
  if (const auto number = canonical_number(name)) return find(*number);
  const auto found = storage_.by_text.find(std::string(name));
  if (found == storage_.by_text.end()) return std::nullopt;
  return found->second;
}

const std::vector<std::uint32_t>& JsonDocument::sorted_entries() const {
  // The table reader has sorted its entries already, to find repeated names. The parser has not.
  if (!storage_.order.empty()) return storage_.order;
  std::call_once(index_->order_once, [this] {
    std::vector<std::uint32_t>& order = index_->order;
    order.resize(storage_.entries.size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::sort(order, {}, [this](std::uint32_t entry) { return name(entry); });
  });
  return index_->order;
}

std::string_view JsonValue::text() const {
  return storage_->text_of(token_);
}

const JsonShape& JsonValue::shape() const {
  return storage_->shapes[token_.extra];
}

// Values have different lengths, so all slots before it must be walked. Records have few members:
// an index of the values of each record would cost much memory and save little time.
JsonValue JsonValue::at_slot(std::uint32_t slot) const {
  std::optional<JsonValue> found;
  for_each_child([&](const JsonValue& value) {
    if (slot == 0) found = value;
    return slot-- != 0;
  });
  return found.value();
}

std::optional<JsonValue> JsonValue::member(std::string_view name) const {
  const std::optional<std::uint32_t> index = shape().find(name);
  if (!index) return std::nullopt;
  return at_slot(shape().members[*index].slot);
}

std::string describe(const JsonValue& value) {
  std::string text(kind_name(value.kind()));
  switch (value.kind()) {
    case JsonKind::kInteger:
    case JsonKind::kReal:
    case JsonKind::kText:
      return text + " " + in_quotes(value.text());
    case JsonKind::kNull:
    case JsonKind::kFalse:
    case JsonKind::kTrue:
    case JsonKind::kArray:
    case JsonKind::kObject:
      break;  // the kind says it all; containers can be of any size
  }
  return text;
}

}  // namespace zorbec
