#include "json/table_reader.h"

#include <algorithm>
#include <array>
#include <boost/sort/spreadsort/integer_sort.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/name_order.h"
#include "json/record_layout.h"
#include "json/scanning.h"

namespace zorbec {
namespace {

// A record that does not have the layout of the record before is compared with all known layouts.
// Real dumps have few. A dump with many would be slow to read here, so the parser reads it.
constexpr std::size_t kMostLayouts = 16;

// To sort the entries, name and entry number share one 64-bit word: a name takes 38 bits
// (json/name_order.h), which leaves more than these for the number.
constexpr unsigned kNumberBits = 24;

// Reads one table.
//
// The text that it is made for:
//
//   {"7340032": {"port": 3, "rif": "0x5"}, "917504": {"port": 12, "rif": "0x77"}, ...
//     ^name  ^before[0]   ^before[1]    ^closing        the values stand between these pieces
//
// A parser looks at every character to find out what it is. But a record nearly always has the same
// text as the record before it, except for its name and its values. So the first record is taken
// apart once, and its layout (record_layout.h) is kept. Each further record is compared with the
// layout: does before[0] stand here? How long is the value? Does before[1] stand behind it? That is
// one memcmp() and one short scan for each member, without any allocation. Only the length of each
// value is stored.
//
// This is safe because a layout is taken apart strictly: what equals its text is valid JSON too,
// and a value that scalar_length() accepts is a complete and valid scalar if the layout's next
// piece follows it. (Behind the digits of "1.5" there is no such piece.)
//
// Everything else makes read() return false, and the parser starts again at the first byte. So no
// function here reports an error; false only means "not mine". All of them read ahead without
// looking for the end of the text: zero bytes follow it (scanning.h), and no piece contains one.
class TableReader {
 public:
  // `storage` contains the text and nothing else.
  explicit TableReader(JsonStorage& storage);

  // Fills the storage. On false the storage contains a part of the table and must be thrown away.
  bool read();

 private:
  bool read_entry();
  // Both expect at_ behind the record's name, and leave it behind the record.
  bool read_record();
  bool follows(const RecordLayout& layout);
  // Adds the layout of the record at at_, and leaves at_ there. The record is then read with
  // follows(), like any other.
  bool learn_layout();
  // Fills storage_.order. Returns false if two entries have the same name.
  bool sort_entries();

  void skip_blanks();
  bool skip(char c);

  JsonStorage& storage_;
  const char* const begin_;
  const char* const end_;
  const char* at_;
  std::size_t last_layout_ = 0;  // the layout of the record that was read last
};

TableReader::TableReader(JsonStorage& storage)
    : storage_(storage),
      begin_(storage.file.bytes.get()),
      end_(begin_ + storage.file.size),
      at_(begin_) {}

bool TableReader::read() {
  if (begin_ == end_) return false;
  // Guesses that are high enough for real dumps: a record has at least 64 bytes, a value and its
  // name at least 4. So nothing is copied while the vectors grow. Memory that is reserved but never
  // touched costs nothing.
  storage_.entries.reserve(storage_.file.size / 64 + 1);
  storage_.layout_of.reserve(storage_.file.size / 64 + 1);
  storage_.lengths.reserve(storage_.file.size / 4 + 1);
  storage_.tokens.emplace_back(JsonKind::kObject, 0, 0);

  skip_blanks();
  if (!skip('{')) return false;
  skip_blanks();
  if (*at_ != '}') {
    do {
      skip_blanks();
      if (!read_entry()) return false;
      skip_blanks();
    } while (skip(','));
  }
  if (!skip('}')) return false;
  skip_blanks();
  return at_ == end_ && sort_entries();
}

bool TableReader::read_entry() {
  if (!skip('"')) return false;
  const std::size_t digits = count_digits(at_);
  // Only canonical numbers. A quote must follow the digits: every layout begins with it.
  if (digits == 0 || digits > kMostDigits || (*at_ == '0' && digits > 1)) return false;
  const auto name_at = static_cast<std::uint32_t>(at_ - begin_);
  std::uint64_t number = 0;
  for (const char* const end = at_ + digits; at_ != end; ++at_) {
    number = 10 * number + static_cast<std::uint64_t>(*at_ - '0');
  }
  if (number >= JsonStorage::kNoShortNumber) return false;
  storage_.entries.push_back({{JsonKind::kText, static_cast<std::uint32_t>(digits), name_at},
                              static_cast<std::uint32_t>(storage_.lengths.size()),
                              static_cast<std::uint32_t>(number)});
  if (!read_record()) return false;
  storage_.layout_of.push_back(static_cast<std::uint8_t>(last_layout_));
  return true;
}

bool TableReader::read_record() {
  // Nearly always the layout of the record before; else one of the others; else a new one.
  const std::vector<RecordLayout>& layouts = storage_.layouts;
  if (last_layout_ < layouts.size() && follows(layouts[last_layout_])) return true;
  for (last_layout_ = 0; last_layout_ < layouts.size(); ++last_layout_) {
    if (follows(layouts[last_layout_])) return true;
  }
  return layouts.size() < kMostLayouts && learn_layout() && follows(layouts[last_layout_]);
}

bool TableReader::follows(const RecordLayout& layout) {
  // Lengths are collected here and stored only when the whole record has matched: it may be tried
  // with several layouts.
  std::array<std::uint8_t, RecordLayout::kMostMembers> lengths;
  std::uint8_t* next = lengths.data();
  const char* at = at_;
  for (const std::string& before : layout.before) {
    if (!stands_at(at, before)) return false;
    at += before.size();
    const std::size_t length = scalar_length(at);
    if (length == 0 || length > RecordLayout::kLongestValue) return false;
    *next++ = static_cast<std::uint8_t>(length);
    at += length;
  }
  if (!stands_at(at, layout.closing)) return false;
  at_ = at + layout.closing.size();
  storage_.lengths.insert(storage_.lengths.end(), lengths.data(), next);
  return true;
}

bool TableReader::learn_layout() {
  const char* const begin = at_;
  const char* piece = at_;
  RecordLayout layout;
  std::vector<std::string_view> names;
  if (!skip('"')) return false;
  skip_blanks();
  if (!skip(':')) return false;
  skip_blanks();
  if (!skip('{')) return false;
  skip_blanks();
  while (*at_ != '}') {
    if (!skip('"')) return false;
    const std::size_t length = count_plain_characters(at_);
    const std::string_view name(at_, length);
    at_ += length;
    if (!skip('"')) return false;
    // A repeated member name: which value counts is the parser's business.
    if (std::ranges::find(names, name) != names.end()) return false;
    names.push_back(storage_.names.emplace_back(name));
    skip_blanks();
    if (!skip(':')) return false;
    skip_blanks();
    layout.before.emplace_back(piece, at_);
    if (layout.before.back().size() > RecordLayout::kLongestPiece) return false;
    const std::size_t value = scalar_length(at_);
    if (value == 0 || names.size() > RecordLayout::kMostMembers) return false;
    at_ += value;
    piece = at_;
    skip_blanks();
    if (*at_ == '}') break;
    if (!skip(',')) return false;
    skip_blanks();
    if (*at_ == '}') return false;  // a comma behind the last member is not valid JSON
  }
  layout.closing.assign(piece, at_ + 1);
  if (layout.closing.size() > RecordLayout::kLongestPiece) return false;
  storage_.shapes.push_back(JsonShape::of(names));
  last_layout_ = storage_.layouts.size();
  storage_.layouts.push_back(std::move(layout));
  at_ = begin;
  return true;
}

bool TableReader::sort_entries() {
  // One word for each entry: the sort value of its name in the upper bits, its number in the lower.
  // Sorting these words sorts the entries by name. The number has room for 16 million entries, more
  // than any router has.
  if (storage_.entries.size() >> kNumberBits != 0) return false;
  std::vector<std::uint64_t> keys;
  keys.reserve(storage_.entries.size());
  for (std::uint32_t entry = 0; entry < storage_.size(); ++entry) {
    const JsonStorage::Entry& its = storage_.entries[entry];
    keys.push_back(name_order(its.short_number, its.name.extra) << kNumberBits | entry);
  }
  // A radix sort: faster than a comparison sort for this many integers.
  boost::sort::spreadsort::integer_sort(keys.begin(), keys.end());
  const auto is_same = [](std::uint64_t a, std::uint64_t b) {
    return a >> kNumberBits == b >> kNumberBits;
  };
  if (std::ranges::adjacent_find(keys, is_same) != keys.end()) return false;
  std::vector<std::uint32_t>& order = storage_.order;
  order.reserve(keys.size());
  for (const std::uint64_t key : keys) {
    order.push_back(static_cast<std::uint32_t>(key & ((1U << kNumberBits) - 1)));
  }
  return true;
}

void TableReader::skip_blanks() {
  while (*at_ == ' ' || *at_ == '\n' || *at_ == '\t' || *at_ == '\r') ++at_;
}

bool TableReader::skip(char c) {
  if (*at_ != c) return false;
  ++at_;
  return true;
}

}  // namespace

std::optional<JsonStorage> read_table(FileText& text) {
  JsonStorage storage;
  storage.file = std::move(text);
  if (TableReader(storage).read()) return storage;
  text = std::move(storage.file);
  return std::nullopt;
}

}  // namespace zorbec
