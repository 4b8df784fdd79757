#pragma once

#include <functional>
#include <string>

#include "base/files.h"

namespace zorbec {

// Lets only one check at a time run on a route processor: two would mix their files in /tmp.
// The lock is held as long as the object lives. If the process is killed, the lock is free at once,
// or as soon as a command that was just being started has begun.
class CheckLock {
 public:
  // Takes the lock on the file at `path`, which is made if there is none (mode 0644). Blocks the
  // calling thread while another process holds it: after about a second should_wait(who) is asked,
  // five times a second, where `who` is what that process wrote about itself. The answer true means
  // to wait on; false throws CheckError with `who`.
  //
  // Throws std::system_error if the file cannot be opened, locked or written; CheckError if it is
  // no regular file or has a second name (hard link).
  CheckLock(const std::string& path,
            const std::function<bool(const std::string& who)>& should_wait);

 private:
  UniqueFd file_;
};

}  // namespace zorbec
