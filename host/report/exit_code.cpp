#include "host/report/exit_code.h"

namespace zorbec {

ExitCode exit_code(Verdict verdict) {
  static constexpr EnumTable<Verdict, ExitCode> kCodes({
      {Verdict::kConsistent, ExitCode::kConsistent},
      {Verdict::kInconsistent, ExitCode::kInconsistent},
      {Verdict::kNotVerified, ExitCode::kNotVerified},
      {Verdict::kNothing, ExitCode::kNotVerified},
      {Verdict::kByDesign, ExitCode::kNotVerified},
      {Verdict::kRunFailed, ExitCode::kNotCarriedOut},
  });
  return kCodes[verdict];
}

}  // namespace zorbec
