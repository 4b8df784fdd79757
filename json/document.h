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

// The kind with its article, for messages: "a text", "a list" and so on.
std::string_view kind_name(JsonKind kind);

// A view of one value in a document, cheap to copy. The document must outlive it and must not be
// moved. Read-only: safe from any thread.
class JsonValue {
 public:
  // `place` is the index of `token` in `storage.tokens`, if it is stored there.
  JsonValue(const JsonStorage& storage, JsonToken token, std::uint32_t place = 0)
      : storage_(&storage), token_(token), place_(place) {}

  JsonKind kind() const {
    if (token_.kind == JsonToken::kLaidOut) return JsonKind::kObject;
    if (token_.kind == JsonToken::kDecoded) return JsonKind::kText;
    return static_cast<JsonKind>(token_.kind);
  }
  bool is_object() const { return kind() == JsonKind::kObject; }

  // The characters of a text, decoded; or a number exactly as the file writes it. Only for these
  // kinds.
  std::string_view text() const;

  // Only for an object below the top level: its shape, the value in a slot of the shape (which must
  // have that slot), and the value of a member, empty if there is no member of that name.
  const JsonShape& shape() const;
  JsonValue at_slot(std::uint32_t slot) const;
  std::optional<JsonValue> member(std::string_view name) const;

  // Fast access for the writer of logs. The values of a record that is stored by its layout stand
  // in the file exactly as they are written again, so they can be copied as bytes.
  //
  // For such a record, calls use(shape, number of the shape, bytes of all values together,
  // copy_value) once and returns its result. For any other value returns false. copy_value(slot,
  // to) copies one value to `to` and returns the end of the copy. It may write up to kScanSlack
  // bytes behind that end, so the caller must have room for them.
  template <typename Use>
  bool with_plain_values(Use use) const;

  // Calls visit(value) for each element of an array, or each value of an object, in file order. Of
  // a repeated member name, all values are visited. Stops when visit() returns false, and then
  // returns false; else true.
  template <typename Visit>
  bool for_each_child(Visit visit) const;

 private:
  bool is_laid_out() const { return token_.kind == JsonToken::kLaidOut; }
  // Only for a record that is stored by its layout. Calls visit(offset in the file, length) for
  // each value; both include the quotes of a text. Stops and returns as for_each_child() does.
  template <typename Visit>
  bool for_each_scalar(Visit visit) const;

  const JsonStorage* storage_;
  JsonToken token_;
  std::uint32_t place_;
};

// One parsed JSON document. A dump is a table: an object at the top level, whose members (entries)
// are the records. Entries are numbered from 0 in file order, and found by name in constant time.
//
// Read-only once parsed: safe from any thread. Moving it ends all JsonValues of it.
class JsonDocument {
 public:
  // An empty object.
  JsonDocument();

  // Takes over what the table reader or the parser has read.
  explicit JsonDocument(JsonStorage storage) : storage_(std::move(storage)) {}

  JsonDocument(JsonDocument&&) = default;
  JsonDocument& operator=(JsonDocument&&) = default;

  JsonValue root() const { return {storage_, storage_.tokens.front()}; }
  bool is_object() const { return root().is_object(); }

  // The number of members of the top-level object; 0 if the document is something else.
  std::uint32_t size() const { return static_cast<std::uint32_t>(storage_.entries.size()); }
  std::string_view name(std::uint32_t entry) const;
  JsonValue value(std::uint32_t entry) const {
    if (!storage_.layout_of.empty())
      return {storage_, {JsonToken::kLaidOut, storage_.layout_of[entry], entry}};
    const std::uint32_t at = storage_.entries[entry].value;
    return {storage_, storage_.tokens[at], at};
  }
  // The number that the member's name writes; empty if the name is not the canonical decimal text
  // (no sign, no leading zeros) of a number below 2^64.
  std::optional<std::uint64_t> number(std::uint32_t entry) const {
    const std::uint32_t short_number = storage_.entries[entry].short_number;
    if (short_number != JsonStorage::kNoShortNumber) return short_number;
    return canonical_number(name(entry));
  }

  // The sort value of the member's name (json/name_order.h); empty if the name is not the canonical
  // decimal text of a number below 2^32 - 1.
  std::optional<std::uint64_t> order(std::uint32_t entry) const {
    const JsonStorage::Entry& its = storage_.entries[entry];
    if (its.short_number == JsonStorage::kNoShortNumber) return std::nullopt;
    return name_order(its.short_number, its.name.extra);
  }

  // The member named `name`, or named like the canonical decimal text of `number`. Empty if there
  // is none. The first call builds a map; calls from other threads wait for it.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(std::uint64_t number) const;

  // The numbers of all members, sorted by name, byte by byte. The first call may have to sort;
  // calls from other threads wait for it.
  const std::vector<std::uint32_t>& sorted_entries() const;

  // Prefetch the memory of an entry: prefetch_entry() what number(), order() and value() read,
  // prefetch_value() the texts of its name and value. prefetch_value() reads the entry itself, so
  // prefetch_entry() should have been called some time before.
  void prefetch_entry(std::uint32_t entry) const {
    __builtin_prefetch(&storage_.entries[entry]);
    if (!storage_.layout_of.empty()) __builtin_prefetch(&storage_.layout_of[entry]);
  }
  void prefetch_value(std::uint32_t entry) const;

  // Whether each member is an object.
  bool holds_only_objects() const { return storage_.holds_only_objects; }

 private:
  // Made when it is first needed: many documents never need it.
  struct Index {
    std::once_flag numbers_once;
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number;
    std::once_flag order_once;
    std::vector<std::uint32_t> order;  // only if the reader has not sorted the entries
  };

  const boost::unordered_flat_map<std::uint64_t, std::uint32_t>& by_number() const;

  JsonStorage storage_;
  std::unique_ptr<Index> index_ = std::make_unique<Index>();
};

// A short description of a value for a message: its kind, and for a text or number its characters
// in quotes.
std::string describe(const JsonValue& value);

template <typename Visit>
bool JsonValue::for_each_scalar(Visit visit) const {
  // `at` goes over the record's text: from the end of its name, over the text before each value,
  // over the value.
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
  // The tokens of a container's values follow its own; a nested container takes several.
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
    // Most values are shorter than 16 bytes. A copy of a fixed size is one load and one store, and
    // is faster than a copy of exactly `length` bytes. What is written too much is overwritten by
    // the caller.
    const auto [at, length] = values[slot];
    constexpr std::size_t kWide = 16;
    std::memcpy(to, file + at, kWide);
    if (length > kWide) std::memcpy(to + kWide, file + at + kWide, length - kWide);
    return to + length;
  };
  return use(shape(), token_.extra, bytes, copy_value);
}

}  // namespace zorbec
