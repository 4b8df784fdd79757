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
  // Memory first: if there is none, the finding must not be in the log and missing on standard
  // output.
  waiting_.reserve(std::max<std::size_t>(PIPE_BUF, before + for_operator.size()));
  // The log before standard output: it still has the finding if nobody reads standard output.
  log_.write(for_log);
  waiting_ += for_operator;
  // The first finding is written at once: if nobody reads standard output, the comparison ends
  // here. Later ones wait until they exceed PIPE_BUF; then all but the last are written.
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
    waiting_.erase(0, size - rest.size());  // what is left may still be written by the destructor
    throw;
  }
  waiting_.erase(0, size);
}

}  // namespace zorbec
