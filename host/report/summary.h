#pragma once

#include <cstddef>
#include <string>

#include "host/report/report.h"

namespace zorbec {

struct SummaryStyle {
  bool has_colour = false;
  std::size_t most_findings = 20;  // rows of findings
};

// The report for a person: nodes and classes, findings folded into rows, what was covered and what
// was not looked at.
std::string summarize(const Report& report, const SummaryStyle& style);

}  // namespace zorbec
