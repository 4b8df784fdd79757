#include "run/table_reader.h"

#include <algorithm>
#include <array>
#include <boost/sort/spreadsort/integer_sort.hpp>
#include <utility>

namespace zorbec {
namespace {

constexpr std::size_t kMostLayouts = 16;
constexpr std::size_t kMostMembers = 64;
// What handles and keys of 32 bits take. One hexadecimal digit for each of their own makes 40 bits.
constexpr std::size_t kLongestName = 10;

// A number by whose size decimal texts stand in the order of their characters.
std::uint64_t text_order(std::string_view digits) {
  std::uint64_t order = 0;
  for (const char c : digits) order = order << 4U | static_cast<std::uint64_t>(c - '0' + 1);
  return order << 4U * (kLongestName - digits.size());
}

bool stands_at(std::string_view word, const char* at) {
  return std::strncmp(at, word.data(), word.size()) == 0;
}

}  // namespace

TableReader::TableReader(JsonDocument& document)
    : document_(document),
      begin_(document.file_.bytes.get()),
      end_(begin_ + document.file_.size),
      at_(begin_) {}

bool TableReader::read() {
  if (begin_ == end_) return false;
  // Memory that is never touched costs nothing.
  document_.tokens_.reserve(document_.file_.size / 12 + 1);
  document_.entries_.reserve(document_.file_.size / 64 + 1);
  document_.tokens_.push_back({static_cast<std::uint32_t>(JsonKind::kObject) & 15U, 0, 0});

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
  if (at_ != end_ || !sort_entries()) return false;
  document_.tokens_.front().word = static_cast<std::uint32_t>(document_.tokens_.size() - 1);
  return true;
}

bool TableReader::read_entry() {
  if (!skip('"')) return false;
  const std::size_t digits = count_digits(at_);
  if (digits == 0 || digits > kLongestName || (*at_ == '0' && digits > 1)) return false;
  const auto name_at = static_cast<std::uint32_t>(at_ - begin_);
  std::uint64_t number = 0;
  for (const char* const end = at_ + digits; at_ != end; ++at_) {
    number = 10 * number + static_cast<std::uint64_t>(*at_ - '0');
  }
  if (number >= JsonDocument::kNoShortNumber) return false;
  if (!skip('"')) return false;
  skip_blanks();
  if (!skip(':')) return false;
  skip_blanks();
  document_.entries_.push_back(
      {{static_cast<std::uint32_t>(JsonKind::kText) & 15U,
        static_cast<std::uint32_t>(digits) & JsonDocument::kMostExtra, name_at},
       static_cast<std::uint32_t>(document_.tokens_.size()),
       static_cast<std::uint32_t>(number)});
  return read_record();
}

bool TableReader::read_record() {
  if (last_layout_ < layouts_.size() && follows(layouts_[last_layout_])) return true;
  for (last_layout_ = 0; last_layout_ < layouts_.size(); ++last_layout_) {
    if (follows(layouts_[last_layout_])) return true;
  }
  return layouts_.size() < kMostLayouts && learn_layout() && follows(layouts_[last_layout_]);
}

bool TableReader::follows(const Layout& layout) {
  std::array<JsonDocument::Token, kMostMembers + 1> tokens;
  JsonDocument::Token* token = tokens.data();
  *token++ = {static_cast<std::uint32_t>(JsonKind::kObject) & 15U,
              layout.shape & JsonDocument::kMostExtra,
              static_cast<std::uint32_t>(layout.before.size())};
  const char* at = at_;
  for (const Piece& before : layout.before) {
    if (!before.stands_at(at)) return false;
    at += before.size();
    const char* const end = scan_value(at, *token++);
    if (end == nullptr) return false;
    at = end;
  }
  if (!layout.closing.stands_at(at)) return false;
  at_ = at + layout.closing.size();
  document_.tokens_.insert(document_.tokens_.end(), tokens.data(), token);
  return true;
}

const char* TableReader::scan_value(const char* at, JsonDocument::Token& token) const {
  const auto set = [&](JsonKind kind, const char* from, std::size_t length) {
    token.kind = static_cast<std::uint32_t>(kind) & 15U;
    token.extra = static_cast<std::uint32_t>(length) & JsonDocument::kMostExtra;
    token.word = static_cast<std::uint32_t>(from - begin_);
  };
  if (*at == '"') {
    const std::size_t length = count_plain_characters(at + 1);
    if (at[1 + length] != '"' || length > JsonDocument::kMostExtra) return nullptr;
    set(JsonKind::kText, at + 1, length);
    return at + length + 2;
  }
  const std::size_t sign = *at == '-' ? 1 : 0;
  if (const std::size_t digits = count_digits(at + sign); digits > 0) {
    if ((at[sign] == '0' && digits > 1) || digits >= JsonDocument::kMostExtra) return nullptr;
    set(JsonKind::kInteger, at, sign + digits);
    return at + sign + digits;
  }
  using Word = std::pair<std::string_view, JsonKind>;
  for (const auto& [word, kind] : {Word{"true", JsonKind::kTrue}, Word{"false", JsonKind::kFalse},
                                   Word{"null", JsonKind::kNull}}) {
    if (!stands_at(word, at)) continue;
    token = {static_cast<std::uint32_t>(kind) & 15U, 0, 0};
    return at + word.size();
  }
  return nullptr;
}

bool TableReader::learn_layout() {
  const char* const begin = at_;
  const char* piece = at_;
  Layout layout;
  std::vector<std::string_view> names;
  if (!skip('{')) return false;
  skip_blanks();
  while (*at_ != '}') {
    if (!skip('"')) return false;
    const std::size_t length = count_plain_characters(at_);
    if (length > JsonDocument::kMostExtra) return false;
    const std::string_view name(at_, length);
    at_ += length;
    if (!skip('"')) return false;
    if (std::ranges::find(names, name) != names.end()) return false;
    names.push_back(document_.names_.emplace_back(name));
    skip_blanks();
    if (!skip(':')) return false;
    skip_blanks();
    layout.before.emplace_back(std::string(piece, at_));
    JsonDocument::Token token;
    at_ = scan_value(at_, token);
    if (at_ == nullptr || names.size() == kMostMembers) return false;
    piece = at_;
    skip_blanks();
    if (*at_ == '}') break;
    if (!skip(',')) return false;
    skip_blanks();
    if (*at_ == '}') return false;
  }
  layout.closing = Piece(std::string(piece, at_ + 1));
  layout.shape = static_cast<std::uint32_t>(document_.shapes_.size());
  document_.shapes_.push_back(JsonShape::of(names));
  last_layout_ = layouts_.size();
  layouts_.push_back(std::move(layout));
  at_ = begin;
  return true;
}

bool TableReader::sort_entries() {
  // Name and number in one word, as long as they have room in it, which they have on every router.
  constexpr unsigned kNumberBits = 24;
  std::vector<std::uint64_t> keys;
  keys.reserve(document_.entries_.size());
  for (std::uint32_t entry = 0; entry < document_.size(); ++entry) {
    keys.push_back(text_order(document_.name(entry)) << kNumberBits | entry);
  }
  if (keys.size() >> kNumberBits != 0) return false;
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
