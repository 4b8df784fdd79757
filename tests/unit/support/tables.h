#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "run/dump_tables.h"
#include "run/files.h"
#include "run/json_document.h"

// Dumps and tables from JSON text.
namespace zorbec::unit {

inline FileText file_text(std::string_view text) {
  FileText file(text.size());
  std::ranges::copy(text, file.bytes.get());
  return file;
}

inline JsonDocument json(std::string_view text) {
  return JsonDocument(file_text(text));
}

inline InterfaceTable interface_table(std::string_view text,
                                      std::string source = "/tmp/pidb_test.dat") {
  return {std::move(source), json(text)};
}

inline PmdbTable pmdb_table(std::string_view text, std::string source = "/tmp/pmdb_test.dat") {
  return {std::move(source), json(text)};
}

}  // namespace zorbec::unit
