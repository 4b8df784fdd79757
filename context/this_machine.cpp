#include "context/this_machine.h"

#include <memory>

#include "context/shell_runner.h"

namespace zorbec {

Machine this_machine() {
  return {std::make_unique<ShellRunner>(), std::make_unique<SystemFiles>()};
}

}  // namespace zorbec
