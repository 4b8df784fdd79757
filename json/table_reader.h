#pragma once

#include <optional>

#include "base/file_text.h"
#include "json/storage.h"

namespace zorbec {

// The fast reader for dumps as the tools write them: a table of flat records, nearly all with the
// same members in the same order. It is several times as fast as the parser, because it compares
// each record with the one before instead of parsing it.
//
// On success it takes over `text`. It returns nothing, and leaves `text` as it was, if the text
// contains anything else: texts with escapes or characters beyond ASCII, real numbers, nested
// values, repeated names, or record names that are not canonical numbers below 2^32 - 1. Such a
// text may be valid JSON or not: the caller gives it to the parser, which decides.
//
// Safe from any thread. Throws only std::bad_alloc; `text` is lost then.
std::optional<JsonStorage> read_table(FileText& text);

}  // namespace zorbec
