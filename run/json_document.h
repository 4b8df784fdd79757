#pragma once

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "run/error.h"
#include "run/file_text.h"
#include "run/json_token.h"
#include "run/large_pages.h"
#include "run/name_order.h"
#include "run/record_layout.h"

namespace zorbec {

// How a dump is held: the file's own text, and beside it where each record begins and how it is
// laid out. A dump that is not all flat records has a flat row of 8-byte tokens instead, which
// point into its text. An object's member names are not repeated: all objects with the same names
// in the same order share one shape. So a dump costs little more memory than its file, and a field
// is found without building a map per record.

// "a text", "a list" and so on, for messages.
std::string_view kind_name(JsonKind kind);

// The number that `text` writes if it is the canonical decimal text of one below 2^64.
std::optional<std::uint64_t> canonical_number(std::string_view text);

class JsonDocument;

// A text that is not one valid JSON document; says at which byte and why.
class JsonError : public CheckError {
 public:
  JsonError(const std::string& what, bool is_truncated)
      : CheckError(what), is_truncated_(is_truncated) {}

  // Whether the text only ends too early.
  bool is_truncated() const { return is_truncated_; }

 private:
  bool is_truncated_;
};

// The member names that objects share, and where each name's value stands.
struct JsonShape {
  struct Member {
    std::string_view name;
    std::uint32_t slot;  // which of the object's values in the file, counted from 0
  };
  // Of an object whose values have these names, in file order.
  static JsonShape of(const std::vector<std::string_view>& names);

  std::vector<Member> members;         // in file order; of a repeated name the last value counts
  std::vector<std::uint32_t> by_name;  // indices into `members`, sorted by name
  std::uint32_t slots = 0;             // values in the file, repeated names included
  std::size_t least_columns = 0;       // an object of this shape is never narrower on one line

  // Index into `members`.
  std::optional<std::uint32_t> find(std::string_view name) const;
};

// A view of one value in a document, which must outlive it and stay where it is.
class JsonValue {
 public:
  // `place` is that of the token in the document's row, if it stands there.
  JsonValue(const JsonDocument& document, JsonToken token, std::uint32_t place = 0)
      : document_(&document), token_(token), place_(place) {}

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

  const JsonDocument* document_;
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

  // Parses `text`, which must be one strictly valid JSON document in UTF-8. A repeated member name
  // keeps its first place and takes its last value. Integers keep every digit.
  //
  // `text` has at most kMostBytes. Throws JsonError if it is not valid, is nested deeper than 32,
  // or holds a text of 256 MB or more or an exponent beyond 2^31.
  explicit JsonDocument(FileText text);

  // What a token can point into.
  static constexpr std::size_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

  JsonDocument(JsonDocument&&) = default;
  JsonDocument& operator=(JsonDocument&&) = default;

  JsonValue root() const { return {*this, tokens_.front()}; }
  bool is_object() const { return root().is_object(); }

  // Members of a top-level object; none if the document is something else.
  std::uint32_t size() const { return static_cast<std::uint32_t>(entries_.size()); }
  std::string_view name(std::uint32_t entry) const;
  JsonValue value(std::uint32_t entry) const {
    if (!layout_of_.empty()) return {*this, {JsonToken::kLaidOut, layout_of_[entry], entry}};
    const std::uint32_t at = entries_[entry].value;
    return {*this, tokens_[at], at};
  }
  // The number of which the member's name is the canonical decimal text, if it is one below 2^64.
  std::optional<std::uint64_t> number(std::uint32_t entry) const {
    const std::uint32_t short_number = entries_[entry].short_number;
    if (short_number != kNoShortNumber) return short_number;
    return canonical_number(name(entry));
  }

  // Where the member stands among those that are named like a short number (run/name_order.h), if
  // it is: like one below 2^32 - 1.
  std::optional<std::uint64_t> order(std::uint32_t entry) const {
    const Entry& its = entries_[entry];
    if (its.short_number == kNoShortNumber) return std::nullopt;
    return name_order(its.short_number, its.name.extra);
  }

  // The member named `name`, or the one whose name is the canonical decimal text of `number`.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(std::uint64_t number) const;

  // The members' numbers sorted by name, byte by byte.
  const std::vector<std::uint32_t>& sorted_entries() const;

  // Has the memory of an entry, or of its value, brought near, which will be read soon.
  void prefetch_entry(std::uint32_t entry) const {
    __builtin_prefetch(&entries_[entry]);
    if (!layout_of_.empty()) __builtin_prefetch(&layout_of_[entry]);
  }
  void prefetch_value(std::uint32_t entry) const;

  // Whether each member is an object.
  bool holds_only_objects() const { return holds_only_objects_; }

 private:
  friend class JsonValue;
  friend class JsonLoader;
  friend class TableReader;

  struct Entry {
    JsonToken name;
    std::uint32_t value;         // its place in `tokens_`; if laid out, in `lengths_`
    std::uint32_t short_number;  // that the name writes, kNoShortNumber if it is none of 32 bits
  };
  static constexpr std::uint32_t kNoShortNumber = std::numeric_limits<std::uint32_t>::max();

  // What is made of the finished document when it is first asked for: many are never asked.
  struct Index {
    std::once_flag numbers_once;
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number;
    std::once_flag order_once;
    std::vector<std::uint32_t> order;
  };

  std::string_view text_of(const JsonToken& token) const;

  FileText file_;
  std::string decoded_;            // texts that the file writes with escapes
  std::vector<JsonToken> tokens_;  // the first is the document itself
  std::vector<Entry, LargePages<Entry>> entries_;
  std::vector<std::uint8_t> layout_of_;  // of each entry, if all are laid out; else empty
  std::vector<RecordLayout> layouts_;    // a layout has its shape's number
  // Of all values of records that are laid out.
  std::vector<std::uint8_t, LargePages<std::uint8_t>> lengths_;
  std::deque<std::string> names_;  // member names of shapes
  std::vector<JsonShape> shapes_;
  // Names that are no canonical numbers; those that are stand in the index.
  boost::unordered_flat_map<std::string, std::uint32_t> by_text_;
  bool holds_only_objects_ = true;
  std::unique_ptr<Index> index_ = std::make_unique<Index>();

  const boost::unordered_flat_map<std::uint64_t, std::uint32_t>& by_number() const;
  void parse();
};

// A value in few words for a message: what it is, and its characters if it is a scalar.
std::string describe(const JsonValue& value);

template <typename Visit>
bool JsonValue::for_each_scalar(Visit visit) const {
  const JsonDocument::Entry& entry = document_->entries_[token_.word];
  const std::uint8_t* length = document_->lengths_.data() + entry.value;
  std::uint32_t at = entry.name.word + entry.name.extra;
  for (const Piece& before : document_->layouts_[token_.extra].before) {
    at += static_cast<std::uint32_t>(before.size());
    if (!visit(at, std::uint32_t{*length})) return false;
    at += *length++;
  }
  return true;
}

template <typename Visit>
bool JsonValue::for_each_child(Visit visit) const {
  if (is_laid_out()) {
    const char* const file = document_->file_.bytes.get();
    return for_each_scalar([&](std::uint32_t at, std::uint32_t length) {
      return visit(JsonValue(*document_, scalar_token(file, at, length)));
    });
  }
  const std::uint32_t end = place_ + token_.length();
  for (std::uint32_t at = place_ + 1; at < end; at += document_->tokens_[at].length()) {
    if (!visit(JsonValue(*document_, document_->tokens_[at], at))) return false;
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
  const char* const file = document_->file_.bytes.get();
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
