#include "context/commands_in_flight.h"

#include <fcntl.h>

#include <csignal>
#include <exception>
#include <optional>
#include <string>

#include "base/files.h"
#include "base/integer.h"
#include "base/text_lines.h"

namespace zorbec {
namespace {

// The children first: without its shell, a child would no longer be found.
void signal_with_children(pid_t shell, int signal) {
  const std::string number = std::to_string(shell);
  try {
    const std::string path = "/proc/" + number + "/task/" + number + "/children";
    const UniqueFd list(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (list.get() < 0) throw_errno("open", path);
    const std::string children = read_from_start(list, path);
    for (const std::string_view child : split_at_whitespace(children)) {
      const std::optional<Integer> pid = Integer::from_decimal(child);
      if (pid && !pid->is_zero()) ::kill(static_cast<pid_t>(pid->word().value_or(0)), signal);
    }
  } catch (const std::exception&) {
    // Not every kernel has this list (CONFIG_PROC_CHILDREN). Then only the shell is signalled.
  }
  ::kill(shell, signal);
}

}  // namespace

void CommandsInFlight::require_running() const {
  const MutexLock lock(mutex_);
  if (end_signal_ != 0) throw Interrupted();
}

void CommandsInFlight::add(pid_t shell) {
  const MutexLock lock(mutex_);
  shells_.insert(shell);
  if (end_signal_ != 0) signal_with_children(shell, end_signal_);
}

bool CommandsInFlight::remove(pid_t shell) {
  const MutexLock lock(mutex_);
  shells_.erase(shell);
  return end_signal_ != 0;
}

void CommandsInFlight::end(int signal) {
  const MutexLock lock(mutex_);
  end_signal_ = signal;
  for (const pid_t shell : shells_) signal_with_children(shell, signal);
}

}  // namespace zorbec
