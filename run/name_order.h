#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

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

// Sorts by order_of(item), which is such a number: ten bits at a time, the lowest first, each time
// keeping the order of those that are the same. A comparison sort takes four times as long for the
// keys of a card.
template <typename Item, typename OrderOf>
void sort_by_name(std::vector<Item>& items, OrderOf order_of) {
  constexpr unsigned kOrderBits = 40;  // 10^10 takes 34, the count of digits 4
  constexpr unsigned kTurnBits = 10;
  std::vector<Item> sorted(items.size());
  for (unsigned shift = 0; shift < kOrderBits; shift += kTurnBits) {
    const auto turn_of = [&](const Item& item) {
      return order_of(item) >> shift & ((1U << kTurnBits) - 1);
    };
    std::array<std::uint32_t, 1U << kTurnBits> places = {};
    for (const Item& item : items) ++places[turn_of(item)];
    std::exclusive_scan(places.begin(), places.end(), places.begin(), 0U);
    for (const Item& item : items) sorted[places[turn_of(item)]++] = item;
    items.swap(sorted);
  }
}

}  // namespace zorbec
