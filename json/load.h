#pragma once

#include <cstddef>
#include <limits>

#include "base/file_text.h"
#include "json/document.h"
#include "json/parser.h"

namespace zorbec {

// The largest text that can be loaded, in bytes: what a token can point into.
inline constexpr std::size_t kMostJsonBytes = std::numeric_limits<std::uint32_t>::max();

// The document that `text` writes: by the table reader if it is a dump as the tools write it, else
// by the parser. `text` has at most kMostJsonBytes. Throws what parse_json() throws.
JsonDocument load_json(FileText text);

}  // namespace zorbec
