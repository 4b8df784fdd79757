#pragma once

#include <sys/types.h>

#include <set>

#include "base/error.h"
#include "base/mutex.h"

namespace zorbec {

// The run was told to end. Running commands were ended, and no other command is started.
class Interrupted : public CheckError {
 public:
  Interrupted() : CheckError("interrupted") {}
};

// The process ids of the shells that are running, so that another thread can end all of them. Safe
// from any thread, but not from a signal handler: it takes a lock.
class CommandsInFlight {
 public:
  // Throws Interrupted if end() was called.
  void require_running() const;

  // Adds a shell that was just started. If end() was called in between, signals the shell now.
  void add(pid_t shell);
  // Removes a shell that has ended. It must not be reaped yet: until then no other process can get
  // its id, so end() cannot signal a wrong one. Returns true if end() was called: the shell may
  // have been ended by it, and its output may be incomplete.
  bool remove(pid_t shell);

  // Sends `signal` to all running shells and their children; shells added later get it too. bash
  // replaces itself with a command that is alone on its line, but a command with a redirection is
  // its child. So both must be signalled.
  void end(int signal);

 private:
  mutable Mutex mutex_;
  std::set<pid_t> shells_ ZORBEC_GUARDED_BY(mutex_);
  int end_signal_ ZORBEC_GUARDED_BY(mutex_) = 0;  // 0: end() was not called
};

}  // namespace zorbec
