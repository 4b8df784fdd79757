#pragma once

#include <cstddef>
#include <limits>

#include "base/file_text.h"
#include "json/document.h"
#include "json/parser.h"

namespace zorbec {

// The largest text that can be loaded, in bytes: the offsets in tokens have 32 bits.
inline constexpr std::size_t kMostJsonBytes = std::numeric_limits<std::uint32_t>::max();

// Reads a JSON text: with the fast table reader if it is a dump as the tools write it, else with
// the parser. The result is the same. `text` must not have more than kMostJsonBytes. Throws what
// parse_json() throws, and std::bad_alloc.
JsonDocument load_json(FileText text);

}  // namespace zorbec
