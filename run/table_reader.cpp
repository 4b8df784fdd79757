#include "run/table_reader.h"

#include <algorithm>
#include <array>
#include <boost/sort/spreadsort/integer_sort.hpp>
#include <utility>

#include "run/name_order.h"

namespace zorbec {
namespace {

constexpr std::size_t kMostLayouts = 16;

// How many bits an entry's number has behind its name.
constexpr unsigned kNumberBits = 24;

}  // namespace

TableReader::TableReader(JsonDocument& document)
    : document_(document),
      begin_(document.file_.bytes.get()),
      end_(begin_ + document.file_.size),
      at_(begin_) {}

bool TableReader::read() {
  if (begin_ == end_) return false;
  // Memory that is never touched costs nothing.
  document_.entries_.reserve(document_.file_.size / 64 + 1);
  document_.layout_of_.reserve(document_.file_.size / 64 + 1);
  document_.lengths_.reserve(document_.file_.size / 4 + 1);
  document_.tokens_.emplace_back(JsonKind::kObject, 0, 0);

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
  if (number >= JsonDocument::kNoShortNumber) return false;
  document_.entries_.push_back({{JsonKind::kText, static_cast<std::uint32_t>(digits), name_at},
                                static_cast<std::uint32_t>(document_.lengths_.size()),
                                static_cast<std::uint32_t>(number)});
  if (!read_record()) return false;
  document_.layout_of_.push_back(static_cast<std::uint8_t>(last_layout_));
  return true;
}

bool TableReader::read_record() {
  const std::vector<RecordLayout>& layouts = document_.layouts_;
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
  for (const Piece& before : layout.before) {
    if (!before.stands_at(at)) return false;
    at += before.size();
    const std::size_t length = scalar_length(at);
    if (length == 0 || length > RecordLayout::kLongestValue) return false;
    *next++ = static_cast<std::uint8_t>(length);
    at += length;
  }
  if (!layout.closing.stands_at(at)) return false;
  at_ = at + layout.closing.size();
  document_.lengths_.insert(document_.lengths_.end(), lengths.data(), next);
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
    names.push_back(document_.names_.emplace_back(name));
    skip_blanks();
    if (!skip(':')) return false;
    skip_blanks();
    layout.before.emplace_back(std::string(piece, at_));
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
  layout.closing = Piece(std::string(piece, at_ + 1));
  document_.shapes_.push_back(JsonShape::of(names));
  last_layout_ = document_.layouts_.size();
  document_.layouts_.push_back(std::move(layout));
  at_ = begin;
  return true;
}

bool TableReader::sort_entries() {
  // Name and number in one word, as long as they have room in it, which they have on every router.
  if (document_.entries_.size() >> kNumberBits != 0) return false;
  std::vector<std::uint64_t> keys;
  keys.reserve(document_.entries_.size());
  for (std::uint32_t entry = 0; entry < document_.size(); ++entry) {
    const JsonDocument::Entry& its = document_.entries_[entry];
    keys.push_back(name_order(its.short_number, its.name.extra) << kNumberBits | entry);
  }
  // By their digits: a comparison sort takes longer.
  boost::sort::spreadsort::integer_sort(keys.begin(), keys.end());
  const auto is_same = [](std::uint64_t a, std::uint64_t b) {
    return a >> kNumberBits == b >> kNumberBits;
  };
  if (std::ranges::adjacent_find(keys, is_same) != keys.end()) return false;
  std::vector<std::uint32_t>& order = document_.index_->order;
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

}  // namespace zorbec
