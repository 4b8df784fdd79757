#include "verify/findings.h"

#include <climits>
#include <exception>
#include <utility>

#include "run/run_state.h"

namespace zorbec {

Findings::~Findings() {
  const bool is_known_to_fail = has_failed_;
  try {
    flush();
  } catch (const std::exception& error) {
    if (!is_known_to_fail) report_error({"node ", nodename_, ": ", error.what()});
  }
}

void Findings::report(std::string_view for_operator, std::string_view for_log) {
  // The log first: it is the one that is still there when nobody reads standard output any more.
  log_.write(for_log);
  if (waiting_.size() + for_operator.size() > PIPE_BUF) flush();
  waiting_ += for_operator;
  // The first at once: if nobody reads them, the comparison has to end here.
  if (std::exchange(is_first_, false)) flush();
}

void Findings::flush() {
  std::string_view rest = waiting_;
  if (rest.empty()) return;
  try {
    run_state().standard_output.write_from(rest);
  } catch (const std::exception&) {
    has_failed_ = true;
    waiting_.erase(0, waiting_.size() - rest.size());
    throw;
  }
  waiting_.clear();
}

}  // namespace zorbec
