#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zorbec {

// Dumps are shown in the order of their entries' names, which are decimal texts. As numbers they
// are sorted and compared without looking at any text.

// What numbers of 32 bits take at most.
inline constexpr std::size_t kMostDigits = 10;

inline constexpr std::array<std::uint64_t, kMostDigits> kPowersOfTen = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

// A number by whose size decimal texts stand in the order of their characters: the digits, as if
// all texts had as many, and behind them how many there are. The text has at most kMostDigits.
inline std::uint64_t name_order(std::uint64_t number, std::size_t digits) {
  return number * kPowersOfTen[kMostDigits - digits] << 4U | digits;
}
inline std::uint64_t name_order(std::uint32_t number) {
  std::size_t digits = 1;
  while (digits < kMostDigits && number >= kPowersOfTen[digits]) ++digits;
  return name_order(number, digits);
}

}  // namespace zorbec
