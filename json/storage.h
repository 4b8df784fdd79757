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

// Reads a canonical decimal number below 2^64: digits only, without leading zeros. Empty for any
// other text.
std::optional<std::uint64_t> canonical_number(std::string_view text);

// The member names of an object, and where each name's value is. All objects with the same names in
// the same order share one shape.
struct JsonShape {
  struct Member {
    std::string_view name;
    std::uint32_t slot;  // the number of its value in the object, counted from 0 in file order
  };
  // Makes the shape of an object with these member names, in file order. A name may be repeated.
  // The characters of the names must outlive the shape.
  static JsonShape of(const std::vector<std::string_view>& names);

  std::vector<Member> members;         // in file order; a repeated name has the slot of its last
  std::vector<std::uint32_t> by_name;  // indices into `members`, sorted by name
  std::uint32_t slots = 0;             // number of values, repeated names included
  std::size_t least_columns = 0;       // written on one line, an object has at least this width

  // Index into `members`; empty if the shape has no such name.
  std::optional<std::uint32_t> find(std::string_view name) const;
};

// The memory of one JSON document. README.md in this folder has a drawing of it. A reader fills it;
// then a JsonDocument owns it, and it is constant.
struct JsonStorage {
  // One member of the top-level object.
  struct Entry {
    JsonToken name;
    std::uint32_t value;         // index into `lengths` if records have layouts, else `tokens`
    std::uint32_t short_number;  // the name as a number, or kNoShortNumber
  };
  // The name is not the canonical decimal text of a number below 2^32 - 1.
  static constexpr std::uint32_t kNoShortNumber = std::numeric_limits<std::uint32_t>::max();

  std::string_view text_of(const JsonToken& token) const {
    const char* const base = token.kind == JsonToken::kDecoded ? decoded.data() : file.bytes.get();
    return {base + token.word, token.extra};
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(entries.size()); }

  FileText file;
  std::string decoded;            // characters of the texts that have escapes in the file
  std::vector<JsonToken> tokens;  // the first one is the document itself
  std::vector<Entry, HugePages<Entry>> entries;  // in file order
  // From the table reader only, else empty: for each entry the number of its layout.
  std::vector<std::uint8_t> layout_of;
  std::vector<RecordLayout> layouts;  // layouts[i] has the shape shapes[i]
  // The lengths of all values of all records with layouts, in file order.
  std::vector<std::uint8_t, HugePages<std::uint8_t>> lengths;
  std::deque<std::string> names;  // owns the member names in `shapes`; a deque never moves them
  std::vector<JsonShape> shapes;
  // Finds the entries whose names are not canonical numbers.
  boost::unordered_flat_map<std::string, std::uint32_t> by_text;
  // From the table reader only, else empty: the numbers of the entries, sorted by name.
  std::vector<std::uint32_t> order;
  bool holds_only_objects = true;
};

}  // namespace zorbec
