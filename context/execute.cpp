#include "context/execute.h"

#include <chrono>
#include <utility>

#include "base/error.h"
#include "context/run_state.h"
#include "context/tell.h"

namespace zorbec {

std::string execute(const std::string& cmd, std::string_view suffix, std::string_view node) {
  // A command line ends at its first NUL byte: the shell would run only the part before it.
  if (cmd.find('\0') != std::string::npos) {
    throw CheckError("command holds a NUL byte: " + in_quotes(cmd));
  }
  std::chrono::steady_clock::time_point start{};
  CommandResult result = run_state().commands().run({cmd, suffix, node}, [&] {
    start = std::chrono::steady_clock::now();
    tell([&] { return event::CommandStarted{cmd}; });
  });
  tell([&] {
    return event::CommandEnded{cmd, result.status, std::chrono::steady_clock::now() - start,
                               result.output.size()};
  });
  return std::move(result.output);
}

void announce_commands(const std::function<void(const CommandRunner::Visit&)>& each) {
  run_state().commands().announce(each);
}

}  // namespace zorbec
