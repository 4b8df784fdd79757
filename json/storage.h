#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_text.h"
#include "base/huge_pages.h"
#include "json/record_layout.h"
#include "json/token.h"

namespace zorbec {

// The number that `text` writes if it is the canonical decimal text of one below 2^64.
std::optional<std::uint64_t> canonical_number(std::string_view text);

// The member names that objects share, and where each name's value stands.
struct JsonShape {
  struct Member {
    std::string_view name;
    std::uint32_t slot;  // which of the object's values in the file, counted from 0
  };
  // The shape of an object whose values have these names, in file order. The names must outlive it.
  static JsonShape of(const std::vector<std::string_view>& names);

  std::vector<Member> members;         // in file order; of a repeated name the last value counts
  std::vector<std::uint32_t> by_name;  // indices into `members`, sorted by name
  std::uint32_t slots = 0;             // values in the file, repeated names included
  std::size_t least_columns = 0;       // an object of this shape is never narrower on one line

  // Index into `members`.
  std::optional<std::uint32_t> find(std::string_view name) const;
};

// The memory of one JSON document; README.md in this folder shows how it lies there. A reader fills
// it, then a JsonDocument owns it and nobody changes it any more.
struct JsonStorage {
  // One member of the top-level object.
  struct Entry {
    JsonToken name;
    std::uint32_t value;         // index into `tokens`; of a laid-out record into `lengths`
    std::uint32_t short_number;  // the number that the name writes, or kNoShortNumber
  };
  // The name is no canonical decimal text of a number below 2^32 - 1.
  static constexpr std::uint32_t kNoShortNumber = std::numeric_limits<std::uint32_t>::max();

  std::string_view text_of(const JsonToken& token) const {
    const char* const base = token.kind == JsonToken::kDecoded ? decoded.data() : file.bytes.get();
    return {base + token.word, token.extra};
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(entries.size()); }

  FileText file;
  std::string decoded;            // texts that the file writes with escapes
  std::vector<JsonToken> tokens;  // the first is the document itself
  std::vector<Entry, HugePages<Entry>> entries;
  std::vector<std::uint8_t> layout_of;  // of each entry, if all are laid out; else empty
  std::vector<RecordLayout> layouts;    // a layout has its shape's number
  // Of all values of laid-out records, in file order.
  std::vector<std::uint8_t, HugePages<std::uint8_t>> lengths;
  std::deque<std::string> names;  // member names of shapes
  std::vector<JsonShape> shapes;
  // Entries whose names are no canonical numbers.
  boost::unordered_flat_map<std::string, std::uint32_t> by_text;
  // The entries sorted by name, if the reader has sorted them; else empty.
  std::vector<std::uint32_t> order;
  bool holds_only_objects = true;
};

}  // namespace zorbec
