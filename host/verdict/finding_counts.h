#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "host/facts/facts.h"
#include "host/report/report.h"

namespace zorbec {

// How many findings each cell has, by whether they can be relied on.
class FindingCounts {
 public:
  // Settles which findings of the run are confirmed, those that stands() holds for, and counts
  // them.
  FindingCounts(RunFacts& run, const std::function<bool(const Finding&)>& stands);

  // A cell of that node and class with its counts, and nothing else yet.
  Cell cell_of(const NodeFacts& node, ReportClass report_class) const;

 private:
  struct Count {
    std::size_t confirmed = 0;
    std::size_t unconfirmed = 0;
  };
  std::map<std::pair<std::string, ReportClass>, Count> counts_;
};

}  // namespace zorbec
