#pragma once

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
#include "run/large_pages.h"

namespace zorbec {

// How a dump is held: the file's own text, and beside it a flat row of 8-byte tokens that point
// into it. An object's member names are not repeated: all objects with the same names in the same
// order share one shape. So a dump costs little more memory than its file, and a field is found
// without building a map per record.

enum class JsonKind : std::uint8_t {
  kNull,
  kFalse,
  kTrue,
  kInteger,
  kReal,
  kText,
  kArray,
  kObject
};

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
  JsonValue(const JsonDocument& document, std::uint32_t token)
      : document_(&document), token_(token) {}

  JsonKind kind() const;
  bool is_object() const { return kind() == JsonKind::kObject; }

  // A text's characters, or a number as the file writes it.
  std::string_view text() const;

  // Of an object below the top level: its shape, whether nothing stands inside its values, the
  // value at a slot of it (constant time if nothing does), and the value of a name, if it has that
  // name.
  const JsonShape& shape() const;
  bool is_flat() const;
  JsonValue at_slot(std::uint32_t slot) const;
  std::optional<JsonValue> member(std::string_view name) const;

  // Of a flat object: calls use(shape, number of the shape, bytes of all values with their quotes,
  // copy_value) if each value stands in the file as it would be written, and returns what that
  // returns; else false. copy_value(slot, to) writes a value at `to`, where kScanSlack bytes more
  // must be free, and returns its end.
  template <typename Use>
  bool with_plain_values(Use use) const;

  // Calls visit(value) for each element of an array, or each value of an object in file order,
  // until one returns false. Returns whether none did.
  template <typename Visit>
  bool for_each_child(Visit visit) const;

 private:
  const JsonDocument* document_;
  std::uint32_t token_;
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

  JsonValue root() const { return {*this, 0}; }
  bool is_object() const { return root().is_object(); }

  // Members of a top-level object; none if the document is something else.
  std::uint32_t size() const { return static_cast<std::uint32_t>(entries_.size()); }
  std::string_view name(std::uint32_t entry) const;
  JsonValue value(std::uint32_t entry) const { return {*this, entries_[entry].value}; }
  // The number of which the member's name is the canonical decimal text, if it is one below 2^64.
  std::optional<std::uint64_t> number(std::uint32_t entry) const {
    const std::uint32_t short_number = entries_[entry].short_number;
    if (short_number != kNoShortNumber) return short_number;
    return canonical_number(name(entry));
  }

  // The member named `name`, or the one whose name is the canonical decimal text of `number`.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(std::uint64_t number) const;

  // The members' numbers sorted by name, byte by byte.
  const std::vector<std::uint32_t>& sorted_entries() const;

  // Has the memory of an entry, or of its value, brought near, which will be read soon.
  void prefetch_entry(std::uint32_t entry) const { __builtin_prefetch(&entries_[entry]); }
  void prefetch_value(std::uint32_t entry) const;

  // Whether each member is an object.
  bool holds_only_objects() const { return holds_only_objects_; }

 private:
  friend class JsonValue;
  friend class JsonLoader;
  friend class TableReader;

  struct Token {
    std::uint32_t kind : 4;
    std::uint32_t extra : 28;  // text, number: length; object: shape
    std::uint32_t word;        // text, number: offset; array, object: tokens inside

    // Tokens that the value takes, its own included.
    std::uint32_t length() const {
      const auto what = static_cast<JsonKind>(kind);
      return what == JsonKind::kArray || what == JsonKind::kObject ? word + 1 : 1;
    }
  };
  struct Entry {
    Token name;
    std::uint32_t value;         // index of a token
    std::uint32_t short_number;  // that the name writes, kNoShortNumber if it is none of 32 bits
  };
  static constexpr std::uint32_t kNoShortNumber = std::numeric_limits<std::uint32_t>::max();
  // The kind of a text whose characters are in `decoded_`, not in the file.
  static constexpr std::uint32_t kDecoded = 15;
  static constexpr std::uint32_t kMostExtra = (1U << 28U) - 1;

  // What is made of the finished document when it is first asked for: many are never asked.
  struct Index {
    std::once_flag numbers_once;
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number;
    std::once_flag order_once;
    std::vector<std::uint32_t> order;
  };

  std::string_view text_of(const Token& token) const;

  FileText file_;
  std::string decoded_;  // texts that the file writes with escapes
  std::vector<Token, LargePages<Token>> tokens_;
  std::vector<Entry> entries_;
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
bool JsonValue::for_each_child(Visit visit) const {
  const std::uint32_t end = token_ + document_->tokens_[token_].length();
  for (std::uint32_t at = token_ + 1; at < end; at += document_->tokens_[at].length()) {
    if (!visit(JsonValue(*document_, at))) return false;
  }
  return true;
}

template <typename Use>
bool JsonValue::with_plain_values(Use use) const {
  const JsonDocument::Token* const values = &document_->tokens_[token_] + 1;
  const JsonShape& its_shape = shape();
  std::size_t bytes = 0;
  for (std::uint32_t slot = 0; slot < its_shape.slots; ++slot) {
    const JsonDocument::Token& value = values[slot];
    // A text that the file writes without escapes needs none here either.
    const bool is_plain = value.kind == static_cast<std::uint32_t>(JsonKind::kInteger) ||
                          value.kind == static_cast<std::uint32_t>(JsonKind::kText) ||
                          value.kind == static_cast<std::uint32_t>(JsonKind::kReal);
    if (!is_plain) return false;
    bytes += value.extra + 2;
  }
  const char* const file = document_->file_.bytes.get();
  const auto copy_value = [&](std::uint32_t slot, char* to) {
    const JsonDocument::Token& value = values[slot];
    const std::size_t quote = value.kind == static_cast<std::uint32_t>(JsonKind::kText) ? 1 : 0;
    const char* const from = file + value.word - quote;
    const std::size_t length = value.extra + 2 * quote;
    constexpr std::size_t kWide = 16;
    std::memcpy(to, from, kWide);
    if (length > kWide) std::memcpy(to + kWide, from + kWide, length - kWide);
    return to + length;
  };
  return use(its_shape, document_->tokens_[token_].extra, bytes, copy_value);
}

}  // namespace zorbec
