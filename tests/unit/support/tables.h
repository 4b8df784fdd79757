#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/files.h"
#include "json/load.h"
#include "tables/dump_tables.h"

// Dumps and tables from JSON text.
namespace zorbec::unit {

inline FileText file_text(std::string_view text) {
  FileText file(text.size());
  std::ranges::copy(text, file.bytes.get());
  return file;
}

inline JsonDocument json(std::string_view text) {
  return load_json(file_text(text));
}

inline InterfaceTable interface_table(std::string_view text,
                                      std::string source = "/tmp/pidb_test.dat") {
  return {std::move(source), json(text)};
}

inline PmdbTable pmdb_table(std::string_view text, std::string source = "/tmp/pmdb_test.dat") {
  return {std::move(source), json(text)};
}

}  // namespace zorbec::unit
