#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace zorbec {

// What became of the findings between two reports. Each finding is the JSON object of its report.
struct ReportDiff {
  std::vector<nlohmann::json> fresh;        // only in the new report
  std::vector<nlohmann::json> unconfirmed;  // likewise, but the new report does not confirm them
  std::vector<nlohmann::json> still;        // in both, as the new report holds them
  std::vector<nlohmann::json> cleared;      // only in the old one, and the new check looked there
  // Only in the old one, but the new check could not have seen them: it did not reach the node,
  // could not verify the class there, or did not know the interface. Whether they are still there
  // is not known.
  std::vector<nlohmann::json> not_looked_at_again;
};

// Throws CheckError, which says what is wrong, if the nodes or findings of the document are not as
// in a report.
void require_comparable(const nlohmann::json& report);

// Two findings are the same if their fingerprints are. Each group keeps the order of its report; a
// finding that a report holds twice counts once. Throws as require_comparable().
ReportDiff diff_reports(const nlohmann::json& old_report, const nlohmann::json& new_report);

// The diff as a document of the format "zorbec-diff".
nlohmann::ordered_json diff_document(const ReportDiff& diff);

}  // namespace zorbec
