#pragma once

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/name_order.h"
#include "json/record_layout.h"
#include "json/storage.h"
#include "json/token.h"

namespace zorbec {

// "a text", "a list" and so on, for messages.
std::string_view kind_name(JsonKind kind);

// A view of one value in a document, which must outlive it and stay where it is.
class JsonValue {
 public:
  // `place` is that of the token in the document's row, if it stands there.
  JsonValue(const JsonStorage& storage, JsonToken token, std::uint32_t place = 0)
      : storage_(&storage), token_(token), place_(place) {}

  JsonKind kind() const {
    if (token_.kind == JsonToken::kLaidOut) return JsonKind::kObject;
    if (token_.kind == JsonToken::kDecoded) return JsonKind::kText;
    return static_cast<JsonKind>(token_.kind);
  }
  bool is_object() const { return kind() == JsonKind::kObject; }

  // A text's characters, or a number as the file writes it.
  std::string_view text() const;

  // Of an object below the top level: its shape, the value at a slot of it, and the value of a
  // name, if it has that name.
  const JsonShape& shape() const;
  JsonValue at_slot(std::uint32_t slot) const;
  std::optional<JsonValue> member(std::string_view name) const;

  // Of a record that is laid out, whose values stand in the file as they would be written: calls
  // use(shape, number of the shape, bytes of all values, copy_value) and returns what that returns;
  // of any other value returns false. copy_value(slot, to) writes a value at `to`, where kScanSlack
  // bytes more must be free, and returns its end.
  template <typename Use>
  bool with_plain_values(Use use) const;

  // Calls visit(value) for each element of an array, or each value of an object in file order,
  // until one returns false. Returns whether none did.
  template <typename Visit>
  bool for_each_child(Visit visit) const;

 private:
  bool is_laid_out() const { return token_.kind == JsonToken::kLaidOut; }
  // Of a record that is laid out: calls visit(offset in the file, length) for each value, quotes
  // included, until one returns false. Returns whether none did.
  template <typename Visit>
  bool for_each_scalar(Visit visit) const;

  const JsonStorage* storage_;
  JsonToken token_;
  std::uint32_t place_;
};

// One parsed JSON document. A top-level object is the table that a dump is: its members are
// numbered in file order and found by name in constant time.
//
// Read-only once parsed: any number of threads may read it.
class JsonDocument {
 public:
  // An empty object.
  JsonDocument();

  // What a reader has made of a text.
  explicit JsonDocument(JsonStorage storage) : storage_(std::move(storage)) {}

  JsonDocument(JsonDocument&&) = default;
  JsonDocument& operator=(JsonDocument&&) = default;

  JsonValue root() const { return {storage_, storage_.tokens.front()}; }
  bool is_object() const { return root().is_object(); }

  // Members of a top-level object; none if the document is something else.
  std::uint32_t size() const { return static_cast<std::uint32_t>(storage_.entries.size()); }
  std::string_view name(std::uint32_t entry) const;
  JsonValue value(std::uint32_t entry) const {
    if (!storage_.layout_of.empty())
      return {storage_, {JsonToken::kLaidOut, storage_.layout_of[entry], entry}};
    const std::uint32_t at = storage_.entries[entry].value;
    return {storage_, storage_.tokens[at], at};
  }
  // The number of which the member's name is the canonical decimal text, if it is one below 2^64.
  std::optional<std::uint64_t> number(std::uint32_t entry) const {
    const std::uint32_t short_number = storage_.entries[entry].short_number;
    if (short_number != JsonStorage::kNoShortNumber) return short_number;
    return canonical_number(name(entry));
  }

  // Where the member stands among those that are named like a short number (json/name_order.h), if
  // it is: like one below 2^32 - 1.
  std::optional<std::uint64_t> order(std::uint32_t entry) const {
    const JsonStorage::Entry& its = storage_.entries[entry];
    if (its.short_number == JsonStorage::kNoShortNumber) return std::nullopt;
    return name_order(its.short_number, its.name.extra);
  }

  // The member named `name`, or the one whose name is the canonical decimal text of `number`.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(std::uint64_t number) const;

  // The members' numbers sorted by name, byte by byte.
  const std::vector<std::uint32_t>& sorted_entries() const;

  // Has the memory of an entry, or of its value, brought near, which will be read soon.
  void prefetch_entry(std::uint32_t entry) const {
    __builtin_prefetch(&storage_.entries[entry]);
    if (!storage_.layout_of.empty()) __builtin_prefetch(&storage_.layout_of[entry]);
  }
  void prefetch_value(std::uint32_t entry) const;

  // Whether each member is an object.
  bool holds_only_objects() const { return storage_.holds_only_objects; }

 private:
  // What is made of the finished document when it is first asked for: many are never asked.
  struct Index {
    std::once_flag numbers_once;
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number;
    std::once_flag order_once;
    std::vector<std::uint32_t> order;  // if the reader has not sorted the entries
  };

  const boost::unordered_flat_map<std::uint64_t, std::uint32_t>& by_number() const;

  JsonStorage storage_;
  std::unique_ptr<Index> index_ = std::make_unique<Index>();
};

// A value in few words for a message: what it is, and its characters if it is a scalar.
std::string describe(const JsonValue& value);

template <typename Visit>
bool JsonValue::for_each_scalar(Visit visit) const {
  const JsonStorage::Entry& entry = storage_->entries[token_.word];
  const std::uint8_t* length = storage_->lengths.data() + entry.value;
  std::uint32_t at = entry.name.word + entry.name.extra;
  for (const std::string& before : storage_->layouts[token_.extra].before) {
    at += static_cast<std::uint32_t>(before.size());
    if (!visit(at, std::uint32_t{*length})) return false;
    at += *length++;
  }
  return true;
}

template <typename Visit>
bool JsonValue::for_each_child(Visit visit) const {
  if (is_laid_out()) {
    const char* const file = storage_->file.bytes.get();
    return for_each_scalar([&](std::uint32_t at, std::uint32_t length) {
      return visit(JsonValue(*storage_, scalar_token(file, at, length)));
    });
  }
  const std::uint32_t end = place_ + token_.length();
  for (std::uint32_t at = place_ + 1; at < end; at += storage_->tokens[at].length()) {
    if (!visit(JsonValue(*storage_, storage_->tokens[at], at))) return false;
  }
  return true;
}

template <typename Use>
bool JsonValue::with_plain_values(Use use) const {
  if (!is_laid_out()) return false;
  struct Scalar {
    std::uint32_t at;
    std::uint32_t length;
  };
  std::array<Scalar, RecordLayout::kMostMembers> values;
  std::size_t bytes = 0;
  Scalar* next = values.data();
  for_each_scalar([&](std::uint32_t at, std::uint32_t length) {
    *next++ = {at, length};
    bytes += length;
    return true;
  });
  const char* const file = storage_->file.bytes.get();
  const auto copy_value = [&](std::uint32_t slot, char* to) {
    const auto [at, length] = values[slot];
    constexpr std::size_t kWide = 16;
    std::memcpy(to, file + at, kWide);
    if (length > kWide) std::memcpy(to + kWide, file + at + kWide, length - kWide);
    return to + length;
  };
  return use(shape(), token_.extra, bytes, copy_value);
}

}  // namespace zorbec
