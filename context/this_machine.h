#pragma once

#include "context/machine.h"

namespace zorbec {

// The machine that this process runs on: its shell and its files.
Machine this_machine();

}  // namespace zorbec
