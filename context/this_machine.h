#pragma once

#include "context/machine.h"

namespace zorbec {

// The machine on which this process runs: ShellRunner and SystemFiles.
Machine this_machine();

}  // namespace zorbec
