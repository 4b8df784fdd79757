#pragma once

#include <cstdint>

namespace zorbec {

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

// One value of a JSON text in 8 bytes. What it says depends on its kind, which is a JsonKind or one
// of those below.
struct JsonToken {
  // A text whose characters were decoded, as the file writes it with escapes.
  static constexpr std::uint32_t kDecoded = 15;
  // A record that is laid out.
  static constexpr std::uint32_t kLaidOut = 14;
  static constexpr std::uint32_t kMostExtra = (1U << 28U) - 1;

  JsonToken() = default;
  // `extra` must not be above kMostExtra.
  constexpr JsonToken(std::uint32_t its_kind, std::uint32_t its_extra, std::uint32_t its_word)
      : kind(its_kind & 15U), extra(its_extra & kMostExtra), word(its_word) {}
  constexpr JsonToken(JsonKind its_kind, std::uint32_t its_extra, std::uint32_t its_word)
      : JsonToken(static_cast<std::uint32_t>(its_kind), its_extra, its_word) {}

  bool is(JsonKind its_kind) const { return kind == static_cast<std::uint32_t>(its_kind); }

  // Tokens that the value takes, its own included.
  std::uint32_t length() const {
    return is(JsonKind::kArray) || is(JsonKind::kObject) ? word + 1 : 1;
  }

  std::uint32_t kind : 4;
  std::uint32_t extra : 28;  // text, number: length; object: shape; laid out: layout and shape
  std::uint32_t word;        // text, number: offset; array, object: tokens inside; laid out: entry
};

}  // namespace zorbec
