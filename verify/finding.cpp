#include "verify/finding.h"

#include "run/run_state.h"

namespace zorbec {

void report_finding(std::string_view for_operator, std::string_view for_log, LogStream& log) {
  // The log first: it is the one that is still there when nobody reads standard output any more.
  log.write(for_log);
  run_state().standard_output.write(for_operator);
}

}  // namespace zorbec
