#pragma once

#include <optional>
#include <string_view>

#include "base/integer.h"

namespace zorbec {

// The key under which the hardware must hold an attachment: an interface id (RIF or LIF) in bits 0
// to 15, a source system port from bit 16 up, the layer-2 flag at bit 30 and the aggregate flag at
// bit 31, ORed together. Its key text form is the hexadecimal text of the result.
//
// Only the id is masked. A port of 16384 or more, or a flag other than 0 or 1, reaches into the
// neighbouring fields and beyond bit 31: the key is exactly what results.
Integer get_pmdb_key_value(const Integer& agr, const Integer& l2, const Integer& rif_lif,
                           const Integer& ssp);

// Reads a key text that a dump supplied: every leading "0" and "x" is stripped, in whatever order
// they stand, and the rest is read as hexadecimal digits. Empty if nothing that can be read
// remains, which is so for "0x0".
std::optional<Integer> parse_key_text(std::string_view text);

}  // namespace zorbec
