#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zorbec {

// A whole number of any size: a field of a dump, or the value of a key.
//
// Real keys are not negative and fit in 64 bits; they are kept in one word. A malformed dump can
// hold any number, and computing a key from it must not lose bits, or the checker would report a
// key that nobody expects. Such numbers are kept exactly, in a shared and constant big integer.
class Integer {
 public:
  template <std::unsigned_integral T>
  Integer(T value) : word_(value) {}
  Integer(int value);

  // Reads decimal digits, with an optional minus sign before them. Nothing else may be in `text`.
  // Empty if it is not such a number, or has more than 4,000 digits: no key needs as many, and
  // reading them takes long.
  static std::optional<Integer> from_decimal(std::string_view text);
  // The same for hexadecimal digits, upper or lower case, with an optional "0x" behind the sign.
  static std::optional<Integer> from_hexadecimal(std::string_view text);
  // Drops the fraction. `value` must be finite.
  static Integer from_real(double value);

  // The number, if it is not negative and fits in 64 bits.
  std::optional<std::uint64_t> word() const {
    if (wide_ != nullptr) return std::nullopt;
    return word_;
  }
  bool is_zero() const { return wide_ == nullptr && word_ == 0; }

  // "0x" and lower-case digits without leading zeros. A negative number has its minus sign first.
  std::string hexadecimal() const;
  void append_hexadecimal(std::string& out) const;
  // Hexadecimal as findings and logs show it. A number that does not fit in a signed 64-bit integer
  // (from 2^63 up, for example) is followed by a capital L.
  std::string message_hexadecimal() const;
  std::string decimal() const;

  // Exact, without any limit of width. A negative number behaves like a two's complement number
  // with infinitely many sign bits.
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
  std::shared_ptr<const Wide> wide_;  // null if word_ holds the number
};

}  // namespace zorbec
