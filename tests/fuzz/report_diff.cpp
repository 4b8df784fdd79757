// Two reports that anybody may have written, compared.

#include "host/diff/report_diff.h"

#include <nlohmann/json.hpp>
#include <string>

#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"

namespace zorbec {
namespace {

using fuzz::require;

void check(const nlohmann::json& old_report, const nlohmann::json& new_report) {
  const ReportDiff same = diff_reports(new_report, new_report);
  require(same.fresh.empty() && same.unconfirmed.empty(), "nothing is new since itself");
  require(same.cleared.empty() && same.not_looked_at_again.empty(), "nor gone");

  const ReportDiff there = diff_reports(old_report, new_report);
  const ReportDiff back = diff_reports(new_report, old_report);
  require(there.still.size() == back.still.size(), "what is in both is in both");
  require(there.fresh.size() + there.unconfirmed.size() ==
              back.cleared.size() + back.not_looked_at_again.size(),
          "what is new was not there before");
  diff_document(there).dump(1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  const auto texts = fuzz::split_input(data, size, 2);
  const nlohmann::json old_report = nlohmann::json::parse(texts[0], nullptr, false);
  const nlohmann::json new_report = nlohmann::json::parse(texts[1], nullptr, false);
  if (old_report.is_discarded() || new_report.is_discarded()) return 0;
  fuzz::failure_of([&] { check(old_report, new_report); });
  return 0;
}
