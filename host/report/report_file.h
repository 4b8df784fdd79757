#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace zorbec {

// Reads the JSON document in the file at `path`. It may hold anything: its size (1 GB) and its
// depth (64 levels) are limited. Throws std::system_error if the file cannot be read, and
// CheckError with the path if it is not valid JSON, too large, too deep, or does not fit in memory.
nlohmann::json read_json_file(const std::string& path);

// The same for a report of a check: also throws CheckError if the document is no report, or one of
// another version than 1. Only these two members are checked.
nlohmann::json read_report(const std::string& path);

}  // namespace zorbec
