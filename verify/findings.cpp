#include "verify/findings.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <utility>

#include "context/run_state.h"

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
  const std::size_t before = waiting_.size();
  // Whatever is in the log has a place here too: it is not to lack memory afterwards.
  waiting_.reserve(std::max<std::size_t>(PIPE_BUF, before + for_operator.size()));
  // The log first: it is the one that is still there when nobody reads standard output any more.
  log_.write(for_log);
  waiting_ += for_operator;
  // The first at once: if nobody reads them, the comparison has to end here.
  if (std::exchange(is_first_, false)) {
    flush();
  } else if (waiting_.size() > PIPE_BUF) {
    write(before);
  }
}

void Findings::flush() {
  write(waiting_.size());
}

void Findings::write(std::size_t size) {
  std::string_view rest = std::string_view(waiting_).substr(0, size);
  if (rest.empty()) return;
  try {
    run_state().standard_output.write_from(rest);
  } catch (const std::exception&) {
    has_failed_ = true;
    waiting_.erase(0, size - rest.size());
    throw;
  }
  waiting_.erase(0, size);
}

}  // namespace zorbec
