#pragma once

#include "host/report/report.h"

namespace zorbec {

// The exit statuses of the command. Scripts rely on them. The man page and README.md list them.
enum class ExitCode {
  kConsistent = 0,        // also: explained; nothing new
  kInconsistent = 1,      // also: something new
  kNotVerified = 2,       // nothing is known to be wrong, but not all was verified
  kNotCarriedOut = 3,     // standard error says why
  kWrongCommandLine = 64  // nothing was done
};

// The exit status of a check with that verdict.
ExitCode exit_code(Verdict verdict);

}  // namespace zorbec
