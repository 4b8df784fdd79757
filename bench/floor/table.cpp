#include "bench/floor/table.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <utility>

#include "base/error.h"
#include "base/files.h"

namespace zorbec::floor {
namespace {

// Behind a dump's text stand as many zero bytes, at which every scan ends.
constexpr std::size_t kPadding = 64;

std::size_t count_digits(const char* at) {
  for (std::size_t count = 0;; count += 8) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, at + count, 8);
    constexpr std::uint64_t kHigh = 0xf0f0f0f0f0f0f0f0;
    constexpr std::uint64_t kZeros = 0x3030303030303030;
    const std::uint64_t others =
        ((eight & kHigh) ^ kZeros) | (((eight + 0x0606060606060606) & kHigh) ^ kZeros);
    if (others != 0) return count + static_cast<std::size_t>(std::countr_zero(others)) / 8;
  }
}

// Length of the text in quotes that begins at `at`; 0 if there is none that needs no decoding.
std::size_t quoted_length(const char* at) {
  if (*at != '"') return 0;
  for (std::size_t length = 1;; ++length) {
    const char c = at[length];
    if (c == '"') return length + 1;
    if (c < 0x20 || c == '\\') return 0;  // what is not ASCII is negative
  }
}

std::size_t value_length(const char* at) {
  if (*at == '"') return quoted_length(at);
  const std::size_t digits = count_digits(at);
  return digits > 1 && *at == '0' ? 0 : digits;
}

class Reader {
 public:
  Reader(Table& table, const std::string& path)
      : table_(table), path_(path), begin_(table.text.get()), at_(begin_) {
    // Untouched memory costs nothing.
    table_.records.reserve(table.bytes / 64);
    table_.lengths.reserve(table.bytes / 8);
  }

  void read() {
    skip_blanks();
    expect('{');
    skip_blanks();
    read_entry();
    while (*at_ == ',') {
      ++at_;
      skip_blanks();
      read_entry();
    }
    expect('}');
    skip_blanks();
    if (at_ != begin_ + table_.bytes) fail("text after the table");
  }

 private:
  void read_entry() {
    const std::size_t length = quoted_length(at_);
    Record record{};
    const auto [end, error] = std::from_chars(at_ + 1, at_ + length, record.name);
    if (length < 3 || error != std::errc() || end != at_ + length - 1 ||
        (at_[1] == '0' && length > 3)) {
      fail("no decimal number in quotes");
    }
    record.name_at = static_cast<std::uint32_t>(at_ + 1 - begin_);
    record.name_length = static_cast<std::uint16_t>(length - 2);
    at_ += length;
    skip_blanks();
    expect(':');
    skip_blanks();
    record.at = static_cast<std::uint32_t>(at_ - begin_);
    record.lengths = static_cast<std::uint32_t>(table_.lengths.size());
    if (!follows(last_layout_)) last_layout_ = find_layout();
    record.layout = static_cast<std::uint16_t>(last_layout_);
    table_.records.push_back(record);
    skip_blanks();
  }

  // Reads a record of a known layout. Leaves everything as it was if it is of another.
  bool follows(std::size_t number) {
    if (number >= table_.layouts.size()) return false;
    const Layout& layout = table_.layouts[number];
    const std::size_t first = table_.lengths.size();
    table_.lengths.resize(first + layout.before.size());
    std::uint16_t* length = table_.lengths.data() + first;
    const char* at = at_;
    for (const Piece& before : layout.before) {
      if (!before.stands_at(at)) break;
      at += before.size();
      const std::size_t bytes = value_length(at);
      if (bytes == 0 || bytes > kLongestValue) break;
      *length++ = static_cast<std::uint16_t>(bytes);
      at += bytes;
    }
    if (length == table_.lengths.data() + table_.lengths.size() && layout.closing.stands_at(at)) {
      at_ = at + layout.closing.size();
      return true;
    }
    table_.lengths.resize(first);
    return false;
  }

  std::size_t find_layout() {
    for (std::size_t number = 0; number < table_.layouts.size(); ++number) {
      if (follows(number)) return number;
    }
    if (table_.layouts.size() == kMostLayouts) fail("too many kinds of records");
    table_.layouts.push_back(learn_layout());
    if (!follows(table_.layouts.size() - 1)) fail("a value too long");
    return table_.layouts.size() - 1;
  }

  // Reads a record of any layout and goes back to its begin.
  Layout learn_layout() {
    const char* const begin = at_;
    const char* piece = at_;
    Layout layout;
    expect('{');
    skip_blanks();
    while (*at_ != '}') {
      const std::size_t length = quoted_length(at_);
      if (length == 0) fail("no plain member name");
      layout.names.emplace_back(at_ + 1, length - 2);
      at_ += length;
      skip_blanks();
      expect(':');
      skip_blanks();
      layout.before.emplace_back(std::string(piece, at_));
      const std::size_t value = value_length(at_);
      if (value == 0) fail("neither a plain text nor an unsigned integer");
      at_ += value;
      piece = at_;
      skip_blanks();
      if (*at_ == '}') break;
      expect(',');
      skip_blanks();
      if (*at_ == '}') fail("no member after a comma");
    }
    layout.closing = Piece(std::string(piece, at_ + 1));
    at_ = begin;
    std::vector<std::string> names = layout.names;
    std::ranges::sort(names);
    if (std::ranges::adjacent_find(names) != names.end()) fail("a member name twice");
    return layout;
  }

  void skip_blanks() {
    while (*at_ == ' ' || *at_ == '\n' || *at_ == '\t' || *at_ == '\r') ++at_;
  }
  void expect(char c) {
    if (*at_ != c) fail("no " + std::string(1, c));
    ++at_;
  }
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(path_ + ": byte " + std::to_string(at_ - begin_) + ": " + what);
  }

  static constexpr std::size_t kLongestValue = std::numeric_limits<std::uint16_t>::max();
  static constexpr std::size_t kMostLayouts = 64;

  Table& table_;
  const std::string& path_;
  const char* begin_;
  const char* at_;
  std::size_t last_layout_ = 0;
};

}  // namespace

Piece::Piece(std::string text) : text_(std::move(text)) {
  const std::string_view wide = std::string_view(text_).substr(0, kWide);
  std::array<char, kWide> bytes = {};
  std::ranges::copy(wide, bytes.begin());
  words_ = std::bit_cast<Words>(bytes);
  std::ranges::fill(bytes, '\0');
  std::fill_n(bytes.begin(), wide.size(), '\xff');
  mask_ = std::bit_cast<Words>(bytes);
}

void Table::cut(const Record& record, std::vector<std::string_view>& values) const {
  values.clear();
  const char* at = text.get() + record.at;
  const std::uint16_t* length = lengths.data() + record.lengths;
  for (const Piece& before : layouts[record.layout].before) {
    at += before.size();
    values.emplace_back(at, *length);
    at += *length++;
  }
}

std::uint64_t to_number(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
  if (error != std::errc() || end != digits.end()) {
    throw std::runtime_error("no 64-bit number: " + std::string(digits));
  }
  return number;
}

Table read_table(const std::string& path) {
  Table table;
  table.bytes = file_size(path);
  if (table.bytes == 0) return table;
  if (table.bytes > std::numeric_limits<std::uint32_t>::max()) {
    throw std::runtime_error(path + ": too long");
  }
  table.text = std::make_unique_for_overwrite<char[]>(table.bytes + kPadding);
  std::memset(table.text.get() + table.bytes, 0, kPadding);
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  for (std::size_t done = 0; done < table.bytes;) {
    const ssize_t got = ::read(fd.get(), table.text.get() + done, table.bytes - done);
    if (got < 0) throw_errno("read", path);
    if (got == 0) throw std::runtime_error(path + ": became shorter");
    done += static_cast<std::size_t>(got);
  }
  Reader(table, path).read();
  return table;
}

}  // namespace zorbec::floor
