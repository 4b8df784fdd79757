#include "json/load.h"

#include <optional>
#include <utility>

#include "json/table_reader.h"

namespace zorbec {

JsonDocument load_json(FileText text) {
  if (std::optional<JsonStorage> table = read_table(text)) return JsonDocument(*std::move(table));
  return JsonDocument(parse_json(std::move(text)));
}

}  // namespace zorbec
