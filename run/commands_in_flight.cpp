#include "run/commands_in_flight.h"

#include <csignal>

namespace zorbec {

void CommandsInFlight::require_running() const {
  const MutexLock lock(mutex_);
  if (end_signal_ != 0) throw Interrupted();
}

void CommandsInFlight::add(pid_t shell) {
  const MutexLock lock(mutex_);
  shells_.insert(shell);
  if (end_signal_ != 0) ::kill(shell, end_signal_);
}

bool CommandsInFlight::remove(pid_t shell) {
  const MutexLock lock(mutex_);
  shells_.erase(shell);
  return end_signal_ != 0;
}

void CommandsInFlight::end(int signal) {
  const MutexLock lock(mutex_);
  end_signal_ = signal;
  for (const pid_t shell : shells_) ::kill(shell, signal);
}

}  // namespace zorbec
