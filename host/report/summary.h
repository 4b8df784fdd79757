#pragma once

#include <cstddef>
#include <string>

#include "host/report/report.h"

namespace zorbec {

struct SummaryStyle {
  bool has_colour = false;         // with the colour codes of a terminal
  std::size_t most_findings = 20;  // most rows of findings
};

// The report for a person: a table of nodes and classes, the findings, what was not verified and
// why, how much was checked, and the verdict in the last line. Findings with the same cause share a
// row. Sentences are wrapped at 80 columns; tables are as wide as they must be. The texts that come
// from a router are made printable. The summary is for people: programs read the JSON document.
std::string summarize(const Report& report, const SummaryStyle& style);

}  // namespace zorbec
