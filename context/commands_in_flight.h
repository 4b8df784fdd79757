#pragma once

#include <sys/types.h>

#include <set>

#include "base/error.h"
#include "base/mutex.h"

namespace zorbec {

// The run was told to end: no further command is started, and what was running was ended.
class Interrupted : public CheckError {
 public:
  Interrupted() : CheckError("interrupted") {}
};

// The shells that run at this moment, so that somebody can end them all. Safe from any thread.
class CommandsInFlight {
 public:
  // Throws Interrupted once end() was called.
  void require_running() const;

  // A shell was started; if end() has been called meanwhile, it is told to end as well.
  void add(pid_t shell);
  // It has ended but is not reaped yet, so that its number is still its own. True if end() may have
  // ended it: half an answer must not be taken for one.
  bool remove(pid_t shell);

  // Tells every running shell and its children to end, with `signal`, and from now on lets none be
  // started. A shell that was given a single command has become that command, unless the command
  // line redirects something: then the command is its child.
  void end(int signal);

 private:
  mutable Mutex mutex_;
  std::set<pid_t> shells_ ZORBEC_GUARDED_BY(mutex_);
  int end_signal_ ZORBEC_GUARDED_BY(mutex_) = 0;  // 0: going on
};

}  // namespace zorbec
