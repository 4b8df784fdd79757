#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zorbec {

// Logs show the entries of a dump sorted by name, and names are decimal texts: "10" comes before
// "9". The functions here give each name a number that sorts like its text, so that names can be
// sorted and compared as integers.

// The most digits that a 32-bit number has.
inline constexpr std::size_t kMostDigits = 10;

inline constexpr std::array<std::uint64_t, kMostDigits> kPowersOfTen = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

// A number that sorts like the decimal text. It is made of two parts:
//   upper bits    the number, filled up with zeros at the end to 10 digits: "42" -> 4200000000
//   lower 4 bits  the number of digits, so that "4" comes before "40"
// `digits` is the number of digits of `number`, at most kMostDigits. `number` must fit in 32 bits;
// the result fits in 38.
inline std::uint64_t name_order(std::uint64_t number, std::size_t digits) {
  return number * kPowersOfTen[kMostDigits - digits] << 4U | digits;
}
inline std::uint64_t name_order(std::uint32_t number) {
  std::size_t digits = 1;
  while (digits < kMostDigits && number >= kPowersOfTen[digits]) ++digits;
  return name_order(number, digits);
}

}  // namespace zorbec
