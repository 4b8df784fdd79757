#include "base/integer.h"

#include <algorithm>
#include <array>
#include <boost/multiprecision/cpp_int.hpp>  // seconds of compiling
#include <charconv>
#include <cmath>
#include <ios>
#include <limits>
#include <system_error>

namespace zorbec {

using boost::multiprecision::cpp_int;

struct Integer::Wide {
  cpp_int value;
};

namespace {

// No key needs nearly as many. The time to read decimal digits grows with the square of their
// number, so without a limit a damaged dump could hold up the check.
constexpr std::size_t kMostDigits = 4000;

bool is_decimal_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_hexadecimal_digit(char c) {
  return is_decimal_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The number that `digits` writes. `base` is 10 or 16; all characters must be digits of it.
cpp_int wide_digits(std::string_view digits, int base) {
  // cpp_int reads a text with a leading zero as octal.
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
  return cpp_int((base == 16 ? "0x" : "") + std::string(digits));
}

}  // namespace

Integer::Integer(int value) {
  if (value < 0) {
    wide_ = std::make_shared<const Wide>(Wide{value});
  } else {
    word_ = static_cast<std::uint64_t>(value);
  }
}

Integer::Integer(const Wide& wide) {
  if (wide.value >= 0 && wide.value <= std::numeric_limits<std::uint64_t>::max()) {
    word_ = static_cast<std::uint64_t>(wide.value);
  } else {
    wide_ = std::make_shared<const Wide>(wide);
  }
}

std::optional<Integer> Integer::from_decimal(std::string_view text) {
  // Fast path: nearly every number of a dump ends here.
  std::uint64_t word = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), word);
  if (error == std::errc() && end == text.data() + text.size()) return Integer(word);

  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  if (text.empty() || text.size() > kMostDigits || !std::ranges::all_of(text, is_decimal_digit)) {
    return std::nullopt;
  }
  const cpp_int magnitude = wide_digits(text, 10);
  return Integer(Wide{negative ? cpp_int(-magnitude) : magnitude});
}

std::optional<Integer> Integer::from_hexadecimal(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  if (text.starts_with("0x")) text.remove_prefix(2);
  if (text.empty() || text.size() > kMostDigits ||
      !std::ranges::all_of(text, is_hexadecimal_digit)) {
    return std::nullopt;
  }
  const cpp_int magnitude = wide_digits(text, 16);
  return Integer(Wide{negative ? cpp_int(-magnitude) : magnitude});
}

Integer Integer::from_real(double value) {
  return Integer(Wide{cpp_int(std::trunc(value))});
}

void Integer::append_hexadecimal(std::string& out) const {
  if (wide_ == nullptr) {
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), word_, 16).ptr;
    out += "0x";
    out.append(digits.data(), end);
  } else {
    const bool negative = wide_->value < 0;
    const cpp_int magnitude = negative ? cpp_int(-wide_->value) : wide_->value;
    out += negative ? "-0x" : "0x";
    out += magnitude.str(0, std::ios_base::hex);
  }
}

std::string Integer::hexadecimal() const {
  std::string out;
  append_hexadecimal(out);
  return out;
}

std::string Integer::message_hexadecimal() const {
  using Signed = std::numeric_limits<std::int64_t>;
  const bool is_long = wide_ == nullptr ? word_ > static_cast<std::uint64_t>(Signed::max())
                                        : wide_->value > 0 || wide_->value < Signed::min();
  return hexadecimal() + (is_long ? "L" : "");
}

std::string Integer::decimal() const {
  return wide_ == nullptr ? std::to_string(word_) : wide_->value.str();
}

Integer::Wide Integer::widened() const {
  return wide_ == nullptr ? Wide{word_} : *wide_;
}

Integer Integer::wide_or(const Integer& a, const Integer& b) {
  return Integer(Wide{a.widened().value | b.widened().value});
}

Integer Integer::wide_and(const Integer& a, std::uint64_t mask) {
  return Integer(Wide{a.widened().value & cpp_int(mask)});
}

Integer Integer::wide_shift(const Integer& a, unsigned bits) {
  // A multiplication gives the exact result for negative numbers too.
  return Integer(Wide{a.widened().value * (cpp_int(1) << bits)});
}

bool operator==(const Integer& a, const Integer& b) {
  if (a.wide_ == nullptr || b.wide_ == nullptr) {
    return a.wide_ == b.wide_ && a.word_ == b.word_;
  }
  return a.wide_->value == b.wide_->value;
}

}  // namespace zorbec
