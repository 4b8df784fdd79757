#include "keys/key_encoding.h"

namespace zorbec {
namespace {

constexpr unsigned kIdMask = 0xffff;
constexpr unsigned kPortShift = 16;
constexpr unsigned kLayer2Shift = 30;
constexpr unsigned kAggregateShift = 31;

}  // namespace

Integer get_pmdb_key_value(const Integer& agr, const Integer& l2, const Integer& rif_lif,
                           const Integer& ssp) {
  return (agr << kAggregateShift) | (l2 << kLayer2Shift) | (ssp << kPortShift) |
         (rif_lif & kIdMask);
}

std::optional<Integer> parse_key_text(std::string_view text) {
  const std::size_t first = text.find_first_not_of("0x");
  if (first == std::string_view::npos) return std::nullopt;
  return Integer::from_hexadecimal(text.substr(first));
}

}  // namespace zorbec
