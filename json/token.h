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

// One value of a JSON document, in 8 bytes. `kind` is a JsonKind or one of the two constants below;
// what the other fields mean depends on it:
//
//   kind                 extra                       word
//   text, number         length in bytes             offset in the file
//   kDecoded             length in bytes             offset in the decoded texts
//   array                not used                    number of tokens inside
//   object               number of its shape         number of tokens inside
//   kLaidOut             number of layout and shape  number of the entry
//   null, false, true    not used                    not used
struct JsonToken {
  // A text that has escapes in the file.
  static constexpr std::uint32_t kDecoded = 15;
  // A record that is stored by its layout (json/record_layout.h): its values have no tokens.
  static constexpr std::uint32_t kLaidOut = 14;
  static constexpr std::uint32_t kMostExtra = (1U << 28U) - 1;

  JsonToken() = default;
  // `extra` must not be above kMostExtra.
  constexpr JsonToken(std::uint32_t its_kind, std::uint32_t its_extra, std::uint32_t its_word)
      : kind(its_kind & 15U), extra(its_extra & kMostExtra), word(its_word) {}
  constexpr JsonToken(JsonKind its_kind, std::uint32_t its_extra, std::uint32_t its_word)
      : JsonToken(static_cast<std::uint32_t>(its_kind), its_extra, its_word) {}

  bool is(JsonKind its_kind) const { return kind == static_cast<std::uint32_t>(its_kind); }

  // The number of tokens of the value, this one included.
  std::uint32_t length() const {
    return is(JsonKind::kArray) || is(JsonKind::kObject) ? word + 1 : 1;
  }

  std::uint32_t kind : 4;
  std::uint32_t extra : 28;
  std::uint32_t word;
};

}  // namespace zorbec
