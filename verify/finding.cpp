#include "verify/finding.h"

#include "run/run_state.h"

namespace zorbec {

void report_finding(std::string_view for_operator, std::string_view for_log, LogStream& log) {
  log.write(for_log);
  run_state().standard_output.write(for_operator);
}

}  // namespace zorbec
