#pragma once

#include <optional>
#include <string_view>

#include "base/integer.h"

namespace zorbec {

// The key that the hardware must hold for an attachment. These are ORed together:
//
//   bits 0 to 15   the interface id (RIF or LIF)
//   from bit 16    the source system port
//   bit 30         the layer-2 flag
//   bit 31         the aggregate flag
//
// Only the id is masked. A port of 16384 or more, or a flag that is not 0 or 1, also changes the
// bits above its field. This is required; the key may be longer than 32 bits.
Integer get_pmdb_key_value(const Integer& agr, const Integer& l2, const Integer& rif_lif,
                           const Integer& ssp);

// Reads a key from a list in a dump. All leading "0" and "x" characters are removed, in any order,
// and the rest is read as hexadecimal digits. Empty if the rest is not hexadecimal or nothing
// remains, as of "0x0".
std::optional<Integer> parse_key_text(std::string_view text);

}  // namespace zorbec
