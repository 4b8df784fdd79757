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

constexpr std::size_t kMostLayouts = 16;

// How many bits an entry's number has behind its name.
constexpr unsigned kNumberBits = 24;

// One reading of a table.
class TableReader {
 public:
  // `storage` has the text and nothing else.
  explicit TableReader(JsonStorage& storage);

  // Whether the storage was filled. If not, it holds part of the table.
  bool read();

 private:
  bool read_entry();
  bool read_record();
  bool follows(const RecordLayout& layout);
  bool learn_layout();
  // Sorts the entries by name; false if two have the same name.
  bool sort_entries();

  void skip_blanks();
  bool skip(char c);

  JsonStorage& storage_;
  const char* const begin_;
  const char* const end_;
  const char* at_;
  std::size_t last_layout_ = 0;
};

TableReader::TableReader(JsonStorage& storage)
    : storage_(storage),
      begin_(storage.file.bytes.get()),
      end_(begin_ + storage.file.size),
      at_(begin_) {}

bool TableReader::read() {
  if (begin_ == end_) return false;
  // Memory that is never touched costs nothing.
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
  const std::vector<RecordLayout>& layouts = storage_.layouts;
  if (last_layout_ < layouts.size() && follows(layouts[last_layout_])) return true;
  for (last_layout_ = 0; last_layout_ < layouts.size(); ++last_layout_) {
    if (follows(layouts[last_layout_])) return true;
  }
  return layouts.size() < kMostLayouts && learn_layout() && follows(layouts[last_layout_]);
}

bool TableReader::follows(const RecordLayout& layout) {
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
    if (*at_ == '}') return false;
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
  // Name and number in one word, as long as they have room in it, which they have on every router.
  if (storage_.entries.size() >> kNumberBits != 0) return false;
  std::vector<std::uint64_t> keys;
  keys.reserve(storage_.entries.size());
  for (std::uint32_t entry = 0; entry < storage_.size(); ++entry) {
    const JsonStorage::Entry& its = storage_.entries[entry];
    keys.push_back(name_order(its.short_number, its.name.extra) << kNumberBits | entry);
  }
  // By their digits: a comparison sort takes longer.
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
