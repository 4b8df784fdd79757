#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zorbec {

// A whole number as dumps hold them, and the value of a key. Nothing bounds a field of a dump, and
// no shift may lose a bit, so it is as wide as it needs to be: real keys fit the one word on which
// look-ups work, and a number out of that range, which only a malformed dump leads to, is kept
// exactly beside it.
class Integer {
 public:
  template <std::unsigned_integral T>
  Integer(T value) : word_(value) {}
  Integer(int value);

  // The number that `text` writes in decimal digits, a minus sign before them allowed and nothing
  // else. Empty if it writes none, or one of more than 4,000 digits, which no key can need and
  // which would take long to read.
  static std::optional<Integer> from_decimal(std::string_view text);
  // The same in hexadecimal digits of either case, "0x" allowed before them.
  static std::optional<Integer> from_hexadecimal(std::string_view text);
  // A real number without its fraction; `value` must be finite.
  static Integer from_real(double value);

  // The number if it is one of 64 bits, not negative.
  std::optional<std::uint64_t> word() const {
    if (wide_ != nullptr) return std::nullopt;
    return word_;
  }
  bool is_zero() const { return wide_ == nullptr && word_ == 0; }

  // "0x" and lower-case hexadecimal digits without leading zeros, a minus sign before it all.
  std::string hexadecimal() const;
  void append_hexadecimal(std::string& out) const;
  // Hexadecimal as messages show it: a capital L follows one that does not fit 64
  // bits with a sign, that is from 2^63 up.
  std::string message_hexadecimal() const;
  std::string decimal() const;

  // Negative numbers count as two's complement of unbounded width.
  friend Integer operator|(const Integer& a, const Integer& b) {
    if (a.wide_ == nullptr && b.wide_ == nullptr) return {a.word_ | b.word_};
    return wide_or(a, b);
  }
  friend Integer operator&(const Integer& a, std::uint64_t mask) {
    if (a.wide_ == nullptr) return {a.word_ & mask};
    return wide_and(a, mask);
  }
  friend Integer operator<<(const Integer& a, unsigned bits) {
    if (a.wide_ == nullptr && bits <= static_cast<unsigned>(std::countl_zero(a.word_)) &&
        bits < 64) {
      return {a.word_ << bits};
    }
    return wide_shift(a, bits);
  }
  friend bool operator==(const Integer& a, const Integer& b);

 private:
  struct Wide;
  explicit Integer(const Wide& wide);

  Wide widened() const;
  static Integer wide_or(const Integer& a, const Integer& b);
  static Integer wide_and(const Integer& a, std::uint64_t mask);
  static Integer wide_shift(const Integer& a, unsigned bits);

  std::uint64_t word_ = 0;
  std::shared_ptr<const Wide> wide_;  // only for a number that word_ cannot hold
};

}  // namespace zorbec
