#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace zorbec {

// The JSON document in the file at `path`, which anybody may have written. Throws
// std::system_error if it cannot be read, and CheckError with the path if it is not valid JSON or
// nested deeper than any report.
nlohmann::json read_json_file(const std::string& path);

// The same for a report of a check. CheckError also if it is none, or not of version 1.
nlohmann::json read_report(const std::string& path);

}  // namespace zorbec
