#include "host/verdict/finding_counts.h"

namespace zorbec {

FindingCounts::FindingCounts(RunFacts& run, const std::function<bool(const Finding&)>& stands) {
  for (auto& [id, finding] : run.findings) {
    finding.is_confirmed = stands(finding);
    Count& count = counts_[{finding.node, finding.report_class}];
    ++(finding.is_confirmed ? count.confirmed : count.unconfirmed);
  }
}

Cell FindingCounts::cell_of(const NodeFacts& node, ReportClass report_class) const {
  Cell cell{.report_class = report_class};
  if (const auto found = counts_.find({node.name, report_class}); found != counts_.end()) {
    cell.findings = found->second.confirmed;
    cell.unconfirmed = found->second.unconfirmed;
  }
  return cell;
}

}  // namespace zorbec
