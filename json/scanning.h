#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/file_text.h"

namespace zorbec {

// The quick looks at a dump's text. All of them may look kScanSlack bytes beyond the text, where
// something must stand that can be read.
inline constexpr std::size_t kScanSlack = FileText::kSlack;

// How many decimal digits stand at `at`.
inline std::size_t count_digits(const char* at) {
  static_assert(std::endian::native == std::endian::little);
  for (std::size_t count = 0;; count += 8) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, at + count, sizeof eight);
    // A byte is a digit if its upper half is 3, and still is after adding 6.
    constexpr std::uint64_t kUpper = 0xf0f0f0f0f0f0f0f0;
    constexpr std::uint64_t kThrees = 0x3030303030303030;
    const std::uint64_t others =
        ((eight & kUpper) ^ kThrees) | (((eight + 0x0606060606060606) & kUpper) ^ kThrees);
    if (others != 0) return count + static_cast<std::size_t>(std::countr_zero(others)) / 8;
  }
}

// How many printable ASCII characters stand at `at` that a JSON text holds as they are: no quote
// and no backslash.
inline std::size_t count_plain_characters(const char* at) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
  std::size_t count = 0;
  while (is_plain(at[count])) ++count;
  return count;
}

// A short text that is looked for and copied as four words, whatever its length.
class Piece {
 public:
  Piece() = default;
  explicit Piece(std::string text) : text_(std::move(text)) {
    std::array<char, kWide> characters = {};
    std::array<char, kWide> mask = {};
    for (std::size_t i = 0; i < kWide && i < text_.size(); ++i) {
      characters[i] = text_[i];
      mask[i] = '\xff';
    }
    words_ = std::bit_cast<Words>(characters);
    mask_ = std::bit_cast<Words>(mask);
  }

  const std::string& text() const { return text_; }
  std::size_t size() const { return text_.size(); }

  bool stands_at(const char* at) const {
    if (text_.size() > kWide) return std::strncmp(at, text_.data(), text_.size()) == 0;
    Words here;
    std::memcpy(here.data(), at, kWide);
    const auto differs = [&](std::size_t i) { return (here[i] ^ words_[i]) & mask_[i]; };
    if ((differs(0) | differs(1)) != 0) return false;
    return text_.size() <= kWide / 2 || (differs(2) | differs(3)) == 0;
  }

  // Writes it at `to`, where kScanSlack bytes more must be free, and returns its end.
  char* copy_to(char* to) const {
    if (text_.size() > kWide) return to + text_.copy(to, text_.size());
    std::memcpy(to, words_.data(), kWide);
    return to + text_.size();
  }

 private:
  static constexpr std::size_t kWide = 32;
  static_assert(kWide <= kScanSlack);
  using Words = std::array<std::uint64_t, kWide / 8>;

  std::string text_;
  Words words_ = {};
  Words mask_ = {};
};

}  // namespace zorbec
