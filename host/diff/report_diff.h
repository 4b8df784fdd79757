#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace zorbec {

// What became of the findings between two reports, each finding as its report holds it.
struct ReportDiff {
  std::vector<nlohmann::json> fresh;        // only in the new report
  std::vector<nlohmann::json> unconfirmed;  // likewise, but resting on something not verified
  std::vector<nlohmann::json> still;        // in both, as the new report holds them
  std::vector<nlohmann::json> cleared;      // only in the old one, and the new check looked there
  // Only in the old one, but the new check did not reach the node, or could not verify the class
  // on it: nobody knows.
  std::vector<nlohmann::json> not_looked_at_again;
};

// Throws CheckError, saying what is wrong, if the findings or nodes are not what those of a report
// are.
void require_comparable(const nlohmann::json& report);

// Findings are the same if their fingerprints are. Groups keep the order of their report, without
// repetitions. Throws as require_comparable().
ReportDiff diff_reports(const nlohmann::json& old_report, const nlohmann::json& new_report);

// The diff as a document of the format "zorbec-diff".
nlohmann::ordered_json diff_document(const ReportDiff& diff);

}  // namespace zorbec
