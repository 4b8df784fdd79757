#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// How many findings each cell of the report has: confirmed ones and others.
class FindingCounts {
 public:
  // Marks each finding of the run as confirmed if stands() is true for it, else as unconfirmed, and
  // counts both.
  FindingCounts(RunFacts& run, const std::function<bool(const Finding&)>& stands);

  // A cell of that node and class with its counts. The verdict is not set yet.
  Cell cell_of(const NodeFacts& node, ReportClass report_class) const;

 private:
  struct Count {
    std::size_t confirmed = 0;
    std::size_t unconfirmed = 0;
  };
  std::map<std::pair<std::string, ReportClass>, Count> counts_;
};

}  // namespace zorbec
