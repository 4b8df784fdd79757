#pragma once

#include <string>

#include "host/report/report.h"

namespace zorbec {

// The report as one JSON document with a newline at its end. docs/report.schema.json describes it.
// Bytes that are no UTF-8 are replaced. The same report gives the same text.
std::string to_json(const Report& report);

// A time since 1970 in UTC, rounded down to seconds: "2026-11-21T03:12:44Z".
std::string utc_text(std::chrono::nanoseconds since_1970);

}  // namespace zorbec
