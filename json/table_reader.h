#pragma once

#include <optional>

#include "base/file_text.h"
#include "json/storage.h"

namespace zorbec {

// Reads a dump as the tools write it, several times as fast as any parser can: a table of flat
// records, nearly all of them with the same members in the same order. A record is read by
// comparing it with the one before, value by value; what stands between two values is one
// comparison.
//
// Returns nothing, and leaves `text` as it is, if there is anything else in it: texts with escapes
// or beyond ASCII, real numbers, nested values, names that are no plain numbers or stand there
// twice. Those it does not judge: the parser reads the text then.
std::optional<JsonStorage> read_table(FileText& text);

}  // namespace zorbec
